#include "SMTPMessage/SMTPServerKey.h"

#include <curl/curl.h>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <memory>
#include <string_view>

#include "Text/Base64.h"
#include "Text/Digests.h"

namespace qs {

namespace {

constexpr std::string_view kCertificateField = "Cert:";

// The first certificate of the chain, the server's own, in PEM.
std::string firstCertificate(CURL* easy) {
    curl_certinfo* chain = nullptr;
    if (curl_easy_getinfo(easy, CURLINFO_CERTINFO, &chain) != CURLE_OK || !chain || chain->num_of_certs < 1) return {};
    for (const curl_slist* field = chain->certinfo[0]; field; field = field->next)
        if (const std::string_view text(field->data); text.starts_with(kCertificateField))
            return std::string(text.substr(kCertificateField.size()));
    return {};
}

// The digest of the SubjectPublicKeyInfo (RFC 7469).
std::string pinOf(const std::string& certificate) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> text(
        BIO_new_mem_buf(certificate.data(), static_cast<int>(certificate.size())), &BIO_free);
    const std::unique_ptr<X509, decltype(&X509_free)> parsed(PEM_read_bio_X509(text.get(), nullptr, nullptr, nullptr),
                                                             &X509_free);
    if (!parsed) return {};
    unsigned char* bytes = nullptr;
    const int size = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(parsed.get()), &bytes);
    if (size <= 0) return {};
    const std::string key(reinterpret_cast<char*>(bytes), static_cast<std::size_t>(size));
    OPENSSL_free(bytes);
    return "sha256//" + base64EncodedString(SHA256Digest(key));
}

std::size_t drop(char*, std::size_t size, std::size_t count, void*) { return size * count; }

}  // namespace

SMTPServerKey verifiedSMTPServerKey(const std::string& url, const std::filesystem::path& certificateAuthorities,
                                    std::int64_t timeout, std::int64_t connectTimeout) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy(curl_easy_init(), &curl_easy_cleanup);
    if (!easy) return {CURLE_FAILED_INIT, {}};
    const auto set = [&](CURLoption option, auto value) { curl_easy_setopt(easy.get(), option, value); };
    set(CURLOPT_URL, url.c_str());
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(connectTimeout));
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(timeout));
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_PROTOCOLS_STR, "smtp,smtps");
    set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    set(CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    if (!certificateAuthorities.empty()) set(CURLOPT_CAINFO, certificateAuthorities.c_str());
    set(CURLOPT_CERTINFO, 1L);
    set(CURLOPT_CUSTOMREQUEST, "NOOP");
    set(CURLOPT_WRITEFUNCTION, &drop);
    set(CURLOPT_HEADERFUNCTION, &drop);
    if (const CURLcode code = curl_easy_perform(easy.get()); code != CURLE_OK) return {code, {}};
    SMTPServerKey key{CURLE_OK, pinOf(firstCertificate(easy.get()))};
    if (key.pin.empty()) key.code = CURLE_PEER_FAILED_VERIFICATION;
    return key;
}

}  // namespace qs
