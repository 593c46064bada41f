# The distribution's libraries. Link them PRIVATE: no header of ours includes theirs.
#
#   job                              target
#   run loop, sockets, HTTP server   Boost::headers
#   JSON at the edges                Boost::json
#   outbound HTTP and SMTP           PkgConfig::CURL
#   XML and HTML                     PkgConfig::LIBXML2
#   dates, patterns, collation       PkgConfig::ICU
#   property lists                   PkgConfig::PLIST
#   SQLite, and its C++ face         PkgConfig::SQLITE3, SQLiteCpp
#   MIME                             PkgConfig::GMIME
#   calendar files                   PkgConfig::LIBICAL
#   hashes, random, TLS              OpenSSL::Crypto, OpenSSL::SSL
#   D-Bus                            SDBusCpp::sdbus-c++
#   logging                          spdlog::spdlog
#   pictures: draw, decode, vectors  PkgConfig::CAIRO, PkgConfig::PIXBUF, PkgConfig::RSVG
#   compression                      ZLIB::ZLIB
#   places of network addresses      PkgConfig::MAXMINDDB
#   PostgreSQL, for a big backend    PkgConfig::POSTGRES
#   results                          tl::expected (headers only, in the default include path)
#   threads                          Threads::Threads
#   tests, benchmarks                GTest::gtest, GTest::gmock, benchmark::benchmark (when QS_TESTS, QS_BENCHMARKS)
find_package(PkgConfig REQUIRED)
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

find_package(Boost 1.81 REQUIRED COMPONENTS headers json)
find_package(OpenSSL REQUIRED)
find_package(ZLIB REQUIRED)
find_package(SQLiteCpp REQUIRED)
find_package(spdlog REQUIRED)
find_package(sdbus-c++ REQUIRED)
find_package(tl-expected REQUIRED)

pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl)
pkg_check_modules(LIBXML2 REQUIRED IMPORTED_TARGET libxml-2.0)
pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-i18n icu-uc)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
pkg_check_modules(SQLITE3 REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(LIBSECRET REQUIRED IMPORTED_TARGET libsecret-1)
pkg_check_modules(SODIUM REQUIRED IMPORTED_TARGET libsodium)
pkg_check_modules(MAXMINDDB REQUIRED IMPORTED_TARGET libmaxminddb)
pkg_check_modules(POSTGRES REQUIRED IMPORTED_TARGET libpq)
pkg_check_modules(LIBICAL REQUIRED IMPORTED_TARGET libical)
pkg_check_modules(GMIME REQUIRED IMPORTED_TARGET gmime-3.0)
pkg_check_modules(CAIRO REQUIRED IMPORTED_TARGET cairo)
pkg_check_modules(PIXBUF REQUIRED IMPORTED_TARGET gdk-pixbuf-2.0)
pkg_check_modules(RSVG REQUIRED IMPORTED_TARGET librsvg-2.0)

# Tests and benchmarks come with their own packages, which a person who only runs the program need not have.
find_package(GTest QUIET)
find_package(benchmark QUIET)
set(QS_TESTS ${GTest_FOUND})
set(QS_BENCHMARKS ${benchmark_FOUND})
