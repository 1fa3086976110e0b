#pragma once

#include <QByteArray>
#include <QSslConfiguration>
#include <QString>

// The server's TLS identity: a self-signed certificate over an EC P-256 key,
// made at first start and kept in the data directory so the fingerprint that
// clients pin stays the same across restarts.
struct ServerIdentity {
    QByteArray certificatePem;
    QByteArray privateKeyPem;
    // Contents of the certificate's subjectPublicKey BIT STRING (the X9.63 point).
    QByteArray publicKey;
    // Base64 of SHA-256 over `publicKey`.
    QString fingerprint;

    QSslConfiguration sslConfiguration() const;
};

// Loads the identity from `dir`, creating it when absent. Throws
// std::runtime_error when the files cannot be read, made or written.
ServerIdentity loadOrCreateIdentity(const QString& dir);

// Fingerprint of a PEM certificate as clients compute it; empty on failure.
QString certificateFingerprint(const QByteArray& certificatePem, QByteArray* publicKey = nullptr);
