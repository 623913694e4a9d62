#include "server/tls/dev_authority.h"

#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tolvik::server {
namespace {

struct OpenSslFree {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using Key = std::unique_ptr<EVP_PKEY, OpenSslFree>;
using Certificate = std::unique_ptr<X509, OpenSslFree>;
using File = std::unique_ptr<std::FILE, OpenSslFree>;

constexpr long year = 365L * 24 * 3600;
constexpr long week = 7L * 24 * 3600;

bool extend(X509* certificate, X509* issuer, int kind, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const std::unique_ptr<X509_EXTENSION, OpenSslFree> extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value));
    return extension && X509_add_ext(certificate, extension.get(), -1) == 1;
}

/// A certificate without extensions; null when the library failed.
Certificate blank(EVP_PKEY* key, const char* name, X509* issuer) {
    Certificate certificate(X509_new());
    std::uint64_t serial = 0;
    if (!certificate || RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) != 1) {
        return nullptr;
    }
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), serial >> 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), year);
    X509_set_pubkey(certificate.get(), key);
    auto* subject = X509_get_subject_name(certificate.get());
    const auto* text = reinterpret_cast<const unsigned char*>(name);
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8, text, -1, -1, 0);
    X509_set_issuer_name(certificate.get(), issuer != nullptr ? X509_get_subject_name(issuer) : subject);
    return certificate;
}

File openNew(const std::filesystem::path& path, mode_t mode) {
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, mode);
    if (descriptor < 0) {
        return nullptr;
    }
    ::fchmod(descriptor, mode);
    return File(::fdopen(descriptor, "w"));
}

bool writeCertificate(const std::filesystem::path& path, X509* certificate) {
    const File file = openNew(path, 0644);
    return file && PEM_write_X509(file.get(), certificate) == 1 && std::fflush(file.get()) == 0;
}

bool writeKey(const std::filesystem::path& path, EVP_PKEY* key) {
    const File file = openNew(path, 0600);
    return file && PEM_write_PrivateKey(file.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1 &&
           std::fflush(file.get()) == 0;
}

Certificate readCertificate(const std::filesystem::path& path) {
    const File file(std::fopen(path.c_str(), "re"));
    return Certificate(file ? PEM_read_X509(file.get(), nullptr, nullptr, nullptr) : nullptr);
}

bool areUsable(const DevCertificates& files) {
    const Certificate authority = readCertificate(files.authority);
    const Certificate certificate = readCertificate(files.certificate);
    const File keyFile(std::fopen(files.key.c_str(), "re"));
    const Key key(keyFile ? PEM_read_PrivateKey(keyFile.get(), nullptr, nullptr, nullptr) : nullptr);
    std::time_t later = std::time(nullptr) + week;
    return authority && certificate && key && X509_cmp_time(X509_get0_notAfter(certificate.get()), &later) > 0 &&
           X509_check_private_key(certificate.get(), key.get()) == 1 &&
           X509_verify(certificate.get(), X509_get0_pubkey(authority.get())) == 1;
}

/// Without the library's macro, which casts a const away.
Key newKey() {
    std::string curve = "P-256";
    return Key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", curve.data()));
}

bool make(const DevCertificates& files) {
    const Key authorityKey = newKey();
    const Key key = newKey();
    if (!authorityKey || !key) {
        return false;
    }
    const auto authority = blank(authorityKey.get(), "Tolvik throw-away authority", nullptr);
    if (!authority || !extend(authority.get(), authority.get(), NID_basic_constraints, "critical,CA:TRUE,pathlen:0") ||
        !extend(authority.get(), authority.get(), NID_key_usage, "critical,keyCertSign,cRLSign") ||
        !extend(authority.get(), authority.get(), NID_subject_key_identifier, "hash") ||
        // Whoever trusts it trusts it for this machine only.
        !extend(authority.get(), authority.get(), NID_name_constraints,
                "critical,permitted;DNS:localhost,permitted;IP:127.0.0.0/255.0.0.0,"
                "permitted;IP:::1/ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff") ||
        X509_sign(authority.get(), authorityKey.get(), EVP_sha256()) == 0) {
        return false;
    }
    const auto certificate = blank(key.get(), "localhost", authority.get());
    return certificate && extend(certificate.get(), authority.get(), NID_basic_constraints, "critical,CA:FALSE") &&
           extend(certificate.get(), authority.get(), NID_key_usage, "critical,digitalSignature") &&
           extend(certificate.get(), authority.get(), NID_ext_key_usage, "serverAuth") &&
           extend(certificate.get(), authority.get(), NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,IP:::1") &&
           extend(certificate.get(), authority.get(), NID_authority_key_identifier, "keyid") &&
           X509_sign(certificate.get(), authorityKey.get(), EVP_sha256()) != 0 && writeKey(files.key, key.get()) &&
           writeCertificate(files.certificate, certificate.get()) && writeCertificate(files.authority, authority.get());
}

}  // namespace

Result<DevCertificates, std::string> devCertificates(const std::filesystem::path& folder) {
    DevCertificates files{folder / "authority.pem", folder / "server.pem", folder / "server.key"};
    if (areUsable(files)) {
        return files;
    }
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error || !make(files)) {
        return failure(
            fmt::format("The certificates for this machine cannot be written to {}. Make the folder "
                        "writable, or choose another with --data.",
                        folder.string()));
    }
    return files;
}

}  // namespace tolvik::server
