#include "Crypto.h"

#include <memory>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rand.h>
#include <stdexcept>

namespace crypto {
namespace {

struct PKeyFree {
    void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); }
};
using PKeyPtr = std::unique_ptr<EVP_PKEY, PKeyFree>;

PKeyPtr publicKeyFromPoint(const QByteArray& point) {
    // Only the uncompressed form that devices send: 0x04 || X || Y.
    if (point.size() != 65 || static_cast<unsigned char>(point.at(0)) != 0x04) return nullptr;
    OSSL_PARAM_BLD* bld = OSSL_PARAM_BLD_new();
    if (!bld) return nullptr;
    OSSL_PARAM* params = nullptr;
    if (OSSL_PARAM_BLD_push_utf8_string(bld, OSSL_PKEY_PARAM_GROUP_NAME, "prime256v1", 0) == 1 &&
        OSSL_PARAM_BLD_push_octet_string(bld, OSSL_PKEY_PARAM_PUB_KEY, point.constData(),
                                         static_cast<size_t>(point.size())) == 1)
        params = OSSL_PARAM_BLD_to_param(bld);
    OSSL_PARAM_BLD_free(bld);
    if (!params) return nullptr;
    EVP_PKEY* key = nullptr;
    EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr);
    if (ctx && EVP_PKEY_fromdata_init(ctx) == 1)
        EVP_PKEY_fromdata(ctx, &key, EVP_PKEY_PUBLIC_KEY, params);
    EVP_PKEY_CTX_free(ctx);
    OSSL_PARAM_free(params);
    PKeyPtr out(key);
    if (!out) return nullptr;
    // fromdata accepts any encoding; make sure the point lies on the curve.
    EVP_PKEY_CTX* check = EVP_PKEY_CTX_new_from_pkey(nullptr, out.get(), nullptr);
    const bool valid = check && EVP_PKEY_public_check(check) == 1;
    EVP_PKEY_CTX_free(check);
    return valid ? std::move(out) : nullptr;
}

} // namespace

bool isP256PublicKey(const QByteArray& point) {
    return publicKeyFromPoint(point) != nullptr;
}

bool verifyP256(const QByteArray& point, const QByteArray& message,
                const QByteArray& derSignature) {
    PKeyPtr key = publicKeyFromPoint(point);
    if (!key || derSignature.isEmpty()) return false;
    EVP_MD_CTX* md = EVP_MD_CTX_new();
    bool ok = md && EVP_DigestVerifyInit(md, nullptr, EVP_sha256(), nullptr, key.get()) == 1;
    ok =
        ok && EVP_DigestVerify(md, reinterpret_cast<const unsigned char*>(derSignature.constData()),
                               static_cast<size_t>(derSignature.size()),
                               reinterpret_cast<const unsigned char*>(message.constData()),
                               static_cast<size_t>(message.size())) == 1;
    EVP_MD_CTX_free(md);
    return ok;
}

QString randomToken(int bytes) {
    QByteArray buf(bytes, Qt::Uninitialized);
    if (RAND_bytes(reinterpret_cast<unsigned char*>(buf.data()), bytes) != 1)
        throw std::runtime_error("no randomness");
    return QString::fromLatin1(
        buf.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

} // namespace crypto
