#pragma once

#include <QByteArray>
#include <QString>

namespace crypto {

// True when `point` is an uncompressed X9.63 point on P-256.
bool isP256PublicKey(const QByteArray& point);

// Verifies a DER (X9.62) ECDSA signature with SHA-256 over `message` made by
// the P-256 key whose uncompressed X9.63 point is `point`.
bool verifyP256(const QByteArray& point, const QByteArray& message, const QByteArray& derSignature);

// Unguessable text for tokens, nonces and codes: `bytes` random bytes as
// URL-safe Base64 without padding.
QString randomToken(int bytes = 32);

} // namespace crypto
