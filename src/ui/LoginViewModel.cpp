#include "ui/LoginViewModel.h"
#include "core/PrefKeys.h"

#include "core/Localisation.h"
#include "core/Prefs.h"
#include "federation/Pairing.h"
#include "net/QRCode.h"
#include "store/Store.h"
#include "ui/AppModel.h"

#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>

LoginViewModel::LoginViewModel(QObject* parent)
    : LoginViewModel(AppModel::current() ? AppModel::current()->store() : nullptr, parent) {}

LoginViewModel::LoginViewModel(Store* store, QObject* parent) : QObject(parent), m_store(store) {
    if (store) {
        connect(store, &Store::lastErrorChanged, this, &LoginViewModel::errorTextChanged);
        connect(store, &Store::sessionChanged, this, &LoginViewModel::readLocalHint);
    }
    readLocalHint();
}

void LoginViewModel::setName(const QString& name) {
    if (m_name == name) return;
    m_name = name;
    emit nameChanged();
}

void LoginViewModel::setInviteCode(const QString& code) {
    if (m_inviteCode == code) return;
    m_inviteCode = code;
    setNotice({});
    emit inviteCodeChanged();
}

QString LoginViewModel::errorText() const {
    if (!m_notice.isEmpty()) return m_notice;
    return m_store ? m_store->lastError().value_or(QString()) : QString();
}

void LoginViewModel::setBusy(bool busy) {
    if (m_busy == busy) return;
    m_busy = busy;
    emit busyChanged();
}

void LoginViewModel::setAutoProbing(bool probing) {
    if (m_autoProbing == probing) return;
    m_autoProbing = probing;
    emit autoProbingChanged();
}

void LoginViewModel::setCodeStep(bool code) {
    if (m_codeStep == code) return;
    m_codeStep = code;
    emit stepChanged();
}

void LoginViewModel::setNotice(const QString& notice) {
    if (m_notice == notice) return;
    m_notice = notice;
    emit errorTextChanged();
}

// The host of a stored guest address: a person who was in as a guest signs in
// there again under the invited name.
void LoginViewModel::readLocalHint() {
    if (!m_store || m_store->token()) return;
    QString hint;
    if (const auto guest = Prefs::shared().string(PrefKey::guestServerURL))
        hint = QUrl(*guest).host();
    if (hint == m_localHint) return;
    m_localHint = hint;
    emit localHintChanged();
}

void LoginViewModel::appear() {
    if (!m_store || m_store->token() || m_store->suppressAutoLogin()) return;
    setAutoProbing(true);
    [](QPointer<LoginViewModel> self, QPointer<Store> store) -> QCoro::Task<> {
        if (store) co_await store->tailnetAutoLogin();
        if (self) self->setAutoProbing(false);
    }(this, m_store);
}

void LoginViewModel::submitName() {
    const QString trimmed = m_name.trimmed();
    if (trimmed.isEmpty() || m_busy || !m_store) return;
    setName(trimmed);
    setNotice({});
    setBusy(true);
    [](QPointer<LoginViewModel> self, QPointer<Store> store, QString username) -> QCoro::Task<> {
        if (store) co_await store->login(username, std::nullopt);
        if (!self) co_return;
        self->setBusy(false);
        if (!store || store->token()) co_return;
        // Offer the invite way in; the failure text so far is not kept.
        store->setLastError(std::nullopt);
        self->setCodeStep(true);
    }(this, m_store, trimmed);
}

void LoginViewModel::joinInvite() {
    const QString code = m_inviteCode.trimmed();
    const QString name = m_name.trimmed();
    if (code.isEmpty() || m_busy || !m_store) return;
    // A pairing QR of another device of this person: no name needed.
    if (PairingPayload::parse(code)) {
        pairDevice(code);
        return;
    }
    if (name.isEmpty()) return;
    if (!code.contains(QLatin1Char('@'))) {
        setNotice(L(QStringLiteral("This code doesn't name its server. Ask for the full invite "
                                   "(code@server) or its QR.")));
        return;
    }
    setNotice({});
    setBusy(true);
    [](QPointer<LoginViewModel> self, QPointer<Store> store, QString who,
       QString invite) -> QCoro::Task<> {
        if (store) co_await store->loginWithInvite(who, invite);
        if (self) self->setBusy(false);
    }(this, m_store, name, code);
}

void LoginViewModel::pairDevice(const QString& payload) {
    setNotice({});
    setBusy(true);
    [](QPointer<LoginViewModel> self, QPointer<Store> store, QString text) -> QCoro::Task<> {
        if (store) co_await store->pairPrimary(text);
        if (self) self->setBusy(false);
    }(this, m_store, payload);
}

void LoginViewModel::back() {
    setNotice({});
    setCodeStep(false);
}

void LoginViewModel::useQRImageFile(const QUrl& file) {
    QFile f(file.isLocalFile() ? file.toLocalFile() : file.toString());
    std::optional<QString> text;
    if (f.open(QIODevice::ReadOnly)) text = decodeQR(f.readAll());
    if (!text) {
        setNotice(L(QStringLiteral("No QR code found")));
        return;
    }
    setInviteCode(text->trimmed());
}

void LoginViewModel::pasteQRCode() {
    const QClipboard* clipboard = QGuiApplication::clipboard();
    const QMimeData* mime = clipboard ? clipboard->mimeData() : nullptr;
    std::optional<QString> text;
    if (mime && mime->hasImage()) text = decodeQR(qvariant_cast<QImage>(mime->imageData()));
    if (!text) {
        setNotice(L(QStringLiteral(
            "Couldn't read a QR code there — copy or pick an image that shows the full code.")));
        return;
    }
    setInviteCode(text->trimmed());
}
