#pragma once

// A device's key pair for tests that talk to the server's key routes directly.

#include <QByteArray>
#include <QString>
#include <memory>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/evp.h>

// A P-256 key pair as a device holds one.
class TestKey {
public:
    TestKey() : m_key(EVP_EC_gen("P-256"), EVP_PKEY_free) {}

    // Base64 of the uncompressed X9.63 point.
    QString publicKey() const {
        unsigned char buf[128];
        size_t len = 0;
        EVP_PKEY_get_octet_string_param(m_key.get(), OSSL_PKEY_PARAM_PUB_KEY, buf, sizeof buf,
                                        &len);
        return QString::fromLatin1(
            QByteArray(reinterpret_cast<char*>(buf), qsizetype(len)).toBase64());
    }

    // Base64 of a DER ECDSA-SHA256 signature over the UTF-8 bytes of `text`.
    QString sign(const QString& text) const {
        const QByteArray data = text.toUtf8();
        EVP_MD_CTX* md = EVP_MD_CTX_new();
        size_t len = 0;
        QByteArray sig;
        if (EVP_DigestSignInit(md, nullptr, EVP_sha256(), nullptr, m_key.get()) == 1 &&
            EVP_DigestSign(md, nullptr, &len,
                           reinterpret_cast<const unsigned char*>(data.constData()),
                           size_t(data.size())) == 1) {
            sig.resize(qsizetype(len));
            EVP_DigestSign(md, reinterpret_cast<unsigned char*>(sig.data()), &len,
                           reinterpret_cast<const unsigned char*>(data.constData()),
                           size_t(data.size()));
            sig.resize(qsizetype(len));
        }
        EVP_MD_CTX_free(md);
        return QString::fromLatin1(sig.toBase64());
    }

private:
    std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> m_key;
};
