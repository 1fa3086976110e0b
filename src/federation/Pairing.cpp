// The pairing payload, its QR image, and the operations that redeem a code
// or hand out an invite.

#include "federation/Pairing.h"
#include "core/PrefKeys.h"

#include "core/Prefs.h"
#include "model/Errors.h"
#include "model/IDCodec.h"
#include "model/Json.h"
#include "net/DeviceKey.h"
#include "net/Pinning.h"
#include "store/Store.h"

#include <QJsonDocument>
#include <QPainter>
#include <QUrlQuery>
#include <QUuid>
#include <qrencode.h>

namespace {
constexpr int quietZone = 4;
} // namespace

// MARK: Payload

PairingPayload PairingPayload::fromJson(const QJsonObject& o) {
    const auto text = [&o](const char* key) {
        const QJsonValue value = o.value(QLatin1String(key));
        if (!value.isString()) throw DecodeError(QStringLiteral("pairing: %1 missing").arg(key));
        return value.toString();
    };
    const QJsonValue version = o.value(QLatin1String("v"));
    if (!version.isDouble()) throw DecodeError(QStringLiteral("pairing: v missing"));
    return PairingPayload{version.toInt(), text("url"), text("fp"), text("code")};
}

QJsonObject PairingPayload::toJson() const {
    return QJsonObject{{QStringLiteral("v"), v},
                       {QStringLiteral("url"), url},
                       {QStringLiteral("fp"), fp},
                       {QStringLiteral("code"), code}};
}

QString PairingPayload::qrString() const {
    return QString::fromUtf8(QJsonDocument(toJson()).toJson(QJsonDocument::Compact));
}

std::optional<PairingPayload> PairingPayload::parse(const QString& text) {
    const QString trimmed = text.trimmed();
    if (!trimmed.startsWith(QLatin1Char('{'))) return std::nullopt;
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(trimmed.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) return std::nullopt;
    try {
        return fromJson(doc.object());
    } catch (const std::exception&) {
        // Not a pairing payload: the caller tries the other forms.
        return std::nullopt;
    }
}

QImage pairingQRImage(const QString& text, int scale) {
    const QByteArray bytes = text.toUtf8();
    QRcode* code = QRcode_encodeString8bit(bytes.constData(), 0, QR_ECLEVEL_M);
    if (!code) return {};
    const int modules = code->width;
    const int side = (modules + 2 * quietZone) * scale;
    QImage image(side, side, QImage::Format_Grayscale8);
    image.fill(Qt::white);
    QPainter painter(&image);
    for (int y = 0; y < modules; ++y)
        for (int x = 0; x < modules; ++x)
            if (code->data[y * modules + x] & 1)
                painter.fillRect((x + quietZone) * scale, (y + quietZone) * scale, scale, scale,
                                 Qt::black);
    painter.end();
    QRcode_free(code);
    return image;
}

// MARK: Pairing

QCoro::Task<> Store::pairPrimary(QString text) {
    QPointer<Store> self(this);
    setLastError(std::nullopt);
    const auto payload = PairingPayload::parse(text);
    std::optional<QUrl> target;
    QString code = text.trimmed();
    if (payload) {
        target = normalizedServerURL(payload->url);
        if (target) {
            if (pinnable(*target))
                PinRegistry::shared().setPin(payload->fp, PinRegistry::hostPort(*target));
            setPrimaryAddress(target->toString());
        }
        code = payload->code;
    } else if (const auto primary = api()) {
        target = primary->base;
    }
    if (target) co_await DeviceKey::load();
    if (!self) co_return;
    const auto pubkey = target ? DeviceKey::publicKeyB64() : std::nullopt;
    if (!target || !pubkey) {
        setLastError(QStringLiteral("Invalid pairing code"));
        co_return;
    }
    Api::KeyAuthResponse reply;
    try {
        auto call = Api(PinRegistry::shared().upgraded(*target), std::nullopt)
                        .pair(code, *pubkey, clientDeviceName());
        reply = co_await call;
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
        co_return;
    }
    if (!self) co_return;
    PinRegistry::shared().setPin(reply.fingerprint, PinRegistry::hostPort(*target));
    Prefs::shared().setValue(keyRegisteredKey(*target), true);
    setPrimaryAddress(target->toString());
    Prefs::shared().setValue(PrefKey::primaryBaseURL, m_serverURLString);
    auto adopt = adoptLogin(LoginResponse{reply.token, reply.user});
    co_await adopt;
}

QCoro::Task<bool> Store::addServerPaired(QString input, QString urlField, QString name) {
    QPointer<Store> self(this);
    setLastError(std::nullopt);
    const auto payload = PairingPayload::parse(input);
    const auto base = normalizedServerURL(payload ? payload->url : urlField);
    if (!base) {
        setLastError(QStringLiteral("Invalid server URL"));
        co_return false;
    }
    if (payload && pinnable(*base))
        PinRegistry::shared().setPin(payload->fp, PinRegistry::hostPort(*base));
    co_await DeviceKey::load();
    if (!self) co_return false;
    const auto pubkey = DeviceKey::publicKeyB64();
    if (!pubkey) {
        setLastError(QStringLiteral("Invalid pairing code"));
        co_return false;
    }
    const QString code = payload ? payload->code : input.trimmed();
    Api::KeyAuthResponse reply;
    try {
        auto call = Api(PinRegistry::shared().upgraded(*base), std::nullopt)
                        .pair(code, *pubkey, clientDeviceName());
        reply = co_await call;
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
        co_return false;
    }
    if (!self) co_return false;
    const QString label =
        !name.isEmpty() ? name : (base->host().isEmpty() ? QStringLiteral("server") : base->host());
    const ServerProfile profile{QUuid::createUuid(),
                                nextServerId(),
                                label,
                                base->toString(),
                                QString(),
                                payload ? std::optional<QString>(payload->fp) : std::nullopt};
    Prefs::shared().setValue(keyRegisteredKey(*base), true);
    // The profile first: a token is kept only for a server that has one.
    setExtraServers(extraServers() + QList<ServerProfile>{profile});
    setServerToken(profile.serverId, reply.token);
    auto call = connectServer(profile);
    co_await call;
    if (!self) co_return false;
    startExtraPolling();
    co_return true;
}

// MARK: Invites

QString Store::shareableInvite(const QString& code, qint64 chatId) const {
    const int server = IDCodec::serverId(chatId);
    std::optional<QUrl> base;
    if (server > 0) {
        if (const ServerProfile* profile = extraServer(server))
            base = normalizedServerURL(profile->url);
    } else if (const auto primary = api()) {
        base = primary->base;
    }
    return base ? code + QLatin1Char('@') + base->toString() : code;
}

std::optional<QString> Store::inviteLink(qint64 chatId) const {
    const auto r = routed(chatId);
    if (!r) return std::nullopt;
    // An extra server by the address it was given: a browser knows nothing of our pins.
    const ServerProfile* profile = extraServer(IDCodec::serverId(chatId));
    const auto given = profile ? normalizedServerURL(profile->url) : std::nullopt;
    QString base = (given ? *given : r->first.base).toString();
    if (!base.endsWith(QLatin1Char('/'))) base += QLatin1Char('/');
    return base + QStringLiteral("join");
}

void Store::openInviteLink(const QUrl& url) {
    if (url.scheme() != QLatin1String("velmarin") || url.host() != QLatin1String("join")) return;
    const QString server =
        QUrlQuery(url).queryItemValue(QStringLiteral("server"), QUrl::FullyDecoded);
    const auto base = server.isEmpty() ? std::nullopt : normalizedServerURL(server);
    if (!base) return;
    const QString target = base->toString();
    const auto primary = api();
    // A pinned server is spoken to over TLS: its plain address is the same server.
    if (token() && primary &&
        (primary->base.toString() == target ||
         primary->base == PinRegistry::shared().upgraded(*base)))
        return;
    if (token() && m_me) {
        [](QPointer<Store> self, QUrl b, QString name) -> QCoro::Task<> {
            if (self) co_await self->addServerByName(b, name, false);
        }(QPointer<Store>(this), *base, m_me->username);
        return;
    }
    // Off to that server as a guest: the login screen takes it from here.
    setPrimaryAddress(target);
    Prefs::shared().setValue(PrefKey::guestServerURL, target);
    setPrimaryToken(std::nullopt);
    m_me.reset();
    Prefs::shared().remove(PrefKey::token);
    Prefs::shared().remove(PrefKey::me);
    setLastError(std::nullopt);
    emit sessionChanged();
}
