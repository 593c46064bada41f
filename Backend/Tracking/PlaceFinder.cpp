#include "Tracking/PlaceFinder.h"

#include <maxminddb.h>

#include "Text/Utf8.h"

namespace qs {

namespace {

class MaxMindPlaceFinder : public PlaceFinder {
public:
    explicit MaxMindPlaceFinder(const MMDB_s& database) : database_(database) {}
    ~MaxMindPlaceFinder() override { MMDB_close(&database_); }

    Place find(const std::string& address) const override {
        int addressError = 0, error = MMDB_SUCCESS;
        MMDB_lookup_result_s found = MMDB_lookup_string(&database_, address.c_str(), &addressError, &error);
        if (addressError != 0 || error != MMDB_SUCCESS || !found.found_entry) return {};
        return {.country = text(found.entry, "country", "names", "en"),
                .city = text(found.entry, "city", "names", "en"),
                .timezone = text(found.entry, "location", "time_zone", nullptr)};
    }

private:
    static std::string text(MMDB_entry_s& entry, const char* first, const char* second, const char* third) {
        MMDB_entry_data_s data{};
        const int status = MMDB_get_value(&entry, &data, first, second, third, nullptr);
        if (status != MMDB_SUCCESS || !data.has_data || data.type != MMDB_DATA_TYPE_UTF8_STRING) return {};
        return validUtf8({data.utf8_string, data.data_size});
    }

    MMDB_s database_;
};

}  // namespace

Result<std::unique_ptr<PlaceFinder>> PlaceFinder::open(const std::filesystem::path& file) {
    MMDB_s database{};
    if (const int status = MMDB_open(file.c_str(), MMDB_MODE_MMAP, &database); status != MMDB_SUCCESS)
        return failure("PlaceFinder", status,
                       "The database of places " + file.string() + " can't be read: " + MMDB_strerror(status) + ".");
    return std::unique_ptr<PlaceFinder>(std::make_unique<MaxMindPlaceFinder>(database));
}

}  // namespace qs
