#include "Tls.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QSslCertificate>
#include <QSslKey>
#include <memory>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <stdexcept>

namespace {

template <typename T, void (*Free)(T*)>
struct Deleter {
    void operator()(T* p) const { Free(p); }
};
using PKeyPtr = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY, EVP_PKEY_free>>;
using X509Ptr = std::unique_ptr<X509, Deleter<X509, X509_free>>;
using BioPtr = std::unique_ptr<BIO, Deleter<BIO, BIO_free_all>>;

const QString kCertFile = QStringLiteral("tls-cert.pem");
const QString kKeyFile = QStringLiteral("tls-key.pem");

QByteArray bioContents(BIO* bio) {
    char* data = nullptr;
    const long len = BIO_get_mem_data(bio, &data);
    return QByteArray(data, static_cast<qsizetype>(len));
}

bool addExtension(X509* cert, int nid, const char* value) {
    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, cert, cert, nullptr, nullptr, 0);
    X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value);
    if (!ext) return false;
    const bool ok = X509_add_ext(cert, ext, -1) == 1;
    X509_EXTENSION_free(ext);
    return ok;
}

bool setRandomSerial(X509* cert) {
    unsigned char bytes[16];
    if (RAND_bytes(bytes, sizeof bytes) != 1) return false;
    bytes[0] &= 0x7f;
    BIGNUM* bn = BN_bin2bn(bytes, sizeof bytes, nullptr);
    const bool ok = bn && BN_to_ASN1_INTEGER(bn, X509_get_serialNumber(cert));
    BN_free(bn);
    return ok;
}

X509Ptr makeCertificate(EVP_PKEY* key) {
    X509Ptr cert(X509_new());
    if (!cert || X509_set_version(cert.get(), 2) != 1 || !setRandomSerial(cert.get()))
        return nullptr;
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), -24L * 3600);
    X509_time_adj_ex(X509_getm_notAfter(cert.get()), 3650, 0, nullptr);
    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("velmarin-server"), -1, -1,
                               0);
    X509_set_issuer_name(cert.get(), name);
    if (X509_set_pubkey(cert.get(), key) != 1) return nullptr;
    if (!addExtension(cert.get(), NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,IP:::1") ||
        !addExtension(cert.get(), NID_basic_constraints, "critical,CA:FALSE"))
        return nullptr;
    if (X509_sign(cert.get(), key, EVP_sha256()) <= 0) return nullptr;
    return cert;
}

void writeFile(const QString& path, const QByteArray& data, QFileDevice::Permissions perms) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() ||
        !file.setPermissions(perms) || !file.commit())
        throw std::runtime_error("cannot write " + path.toStdString());
}

void createIdentityFiles(const QDir& dir) {
    PKeyPtr key(EVP_EC_gen("P-256"));
    if (!key) throw std::runtime_error("cannot generate the TLS key");
    X509Ptr cert = makeCertificate(key.get());
    if (!cert) throw std::runtime_error("cannot make the TLS certificate");
    BioPtr keyBio(BIO_new(BIO_s_mem()));
    BioPtr certBio(BIO_new(BIO_s_mem()));
    if (PEM_write_bio_PrivateKey(keyBio.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) !=
            1 ||
        PEM_write_bio_X509(certBio.get(), cert.get()) != 1)
        throw std::runtime_error("cannot encode the TLS identity");
    // The key first: a certificate without its key on disk would never be reused.
    writeFile(dir.filePath(kKeyFile), bioContents(keyBio.get()),
              QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    writeFile(dir.filePath(kCertFile), bioContents(certBio.get()),
              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup |
                  QFileDevice::ReadOther);
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + path.toStdString());
    return file.readAll();
}

} // namespace

QString certificateFingerprint(const QByteArray& certificatePem, QByteArray* publicKey) {
    BioPtr bio(
        BIO_new_mem_buf(certificatePem.constData(), static_cast<int>(certificatePem.size())));
    X509Ptr cert(bio ? PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr) : nullptr);
    if (!cert) return {};
    const ASN1_BIT_STRING* bits = X509_get0_pubkey_bitstr(cert.get());
    if (!bits) return {};
    const QByteArray point(reinterpret_cast<const char*>(ASN1_STRING_get0_data(bits)),
                           ASN1_STRING_length(bits));
    if (publicKey) *publicKey = point;
    return QString::fromLatin1(
        QCryptographicHash::hash(point, QCryptographicHash::Sha256).toBase64());
}

ServerIdentity loadOrCreateIdentity(const QString& path) {
    QDir dir(path);
    if (!dir.mkpath(QStringLiteral(".")))
        throw std::runtime_error("cannot create " + path.toStdString());
    if (!QFile::exists(dir.filePath(kCertFile)) || !QFile::exists(dir.filePath(kKeyFile)))
        createIdentityFiles(dir);
    ServerIdentity id;
    id.certificatePem = readFile(dir.filePath(kCertFile));
    id.privateKeyPem = readFile(dir.filePath(kKeyFile));
    id.fingerprint = certificateFingerprint(id.certificatePem, &id.publicKey);
    if (id.fingerprint.isEmpty()) throw std::runtime_error("unreadable TLS certificate");
    if (QSslKey(id.privateKeyPem, QSsl::Ec).isNull())
        throw std::runtime_error("unreadable TLS key");
    return id;
}

QSslConfiguration ServerIdentity::sslConfiguration() const {
    QSslConfiguration config = QSslConfiguration::defaultConfiguration();
    config.setLocalCertificate(QSslCertificate(certificatePem, QSsl::Pem));
    config.setPrivateKey(QSslKey(privateKeyPem, QSsl::Ec));
    config.setPeerVerifyMode(QSslSocket::VerifyNone);
    config.setProtocol(QSsl::TlsV1_2OrLater);
    return config;
}
