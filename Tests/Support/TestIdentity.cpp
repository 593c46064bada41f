#include "Support/TestIdentity.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <fstream>

namespace qs {

namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;
using Memory = std::unique_ptr<BIO, decltype(&BIO_free)>;

Key newKey() { return {EVP_EC_gen("P-256"), &EVP_PKEY_free}; }

std::string textIn(const Memory& memory) {
    char* data = nullptr;
    const long length = BIO_get_mem_data(memory.get(), &data);
    return {data, static_cast<std::size_t>(length)};
}

std::string pem(X509* certificate) {
    const Memory memory(BIO_new(BIO_s_mem()), &BIO_free);
    PEM_write_bio_X509(memory.get(), certificate);
    return textIn(memory);
}

std::string pem(EVP_PKEY* key) {
    const Memory memory(BIO_new(BIO_s_mem()), &BIO_free);
    PEM_write_bio_PrivateKey(memory.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
    return textIn(memory);
}

void add(X509* certificate, X509* issuer, int extension, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* made = X509V3_EXT_conf_nid(nullptr, &context, extension, value.c_str());
    X509_add_ext(certificate, made, -1);
    X509_EXTENSION_free(made);
}

// Not signed yet.
Certificate newCertificate(EVP_PKEY* key, const std::string& name, long from, long until) {
    Certificate certificate(X509_new(), &X509_free);
    X509_set_version(certificate.get(), 2);
    static long serial = 1000;
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), ++serial);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), from);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), until);
    X509_set_pubkey(certificate.get(), key);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    return certificate;
}

}  // namespace

struct TestAuthority::Held {
    Key key = newKey();
    Certificate certificate{nullptr, &X509_free};
};

TestAuthority::TestAuthority() : held_(std::make_unique<Held>()) {
    held_->certificate = newCertificate(held_->key.get(), "Test authority", -86'400, 86'400);
    X509* certificate = held_->certificate.get();
    X509_set_issuer_name(certificate, X509_get_subject_name(certificate));
    add(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE");
    add(certificate, certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
    X509_sign(certificate, held_->key.get(), EVP_sha256());
    certificate_ = pem(certificate);
}

TestAuthority::~TestAuthority() = default;

TestIdentity TestAuthority::issue(const Options& options) const {
    const Key key = newKey();
    const Certificate certificate =
        newCertificate(key.get(), options.name, -86'400, options.isExpired ? -3600 : 86'400);
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(held_->certificate.get()));
    const bool isAddress = options.name.find_first_not_of("0123456789.") == std::string::npos;
    add(certificate.get(), held_->certificate.get(), NID_subject_alt_name, (isAddress ? "IP:" : "DNS:") + options.name);
    X509_sign(certificate.get(), held_->key.get(), EVP_sha256());
    return {pem(certificate.get()), pem(key.get()), options.speaksOldTlsOnly};
}

std::filesystem::path TestAuthority::write(const std::filesystem::path& file) const {
    std::ofstream(file) << certificate_;
    return file;
}

}  // namespace qs
