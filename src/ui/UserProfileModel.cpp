#include "ui/UserProfileModel.h"

#include "conversations/UserClients.h"
#include "core/LocNotifier.h"
#include "core/Localisation.h"
#include "store/Store.h"
#include "ui/DirectChat.h"

UserProfileModel::UserProfileModel(Store* store, QObject* parent)
    : QObject(parent), m_store(store) {
    connect(store, &Store::profileUserChanged, this, &UserProfileModel::follow);
    connect(store, &Store::presenceChanged, this, &UserProfileModel::presenceChanged);
    connect(store, &Store::usersChanged, this, &UserProfileModel::userChanged);
    connect(LocNotifier::instance(), &LocNotifier::languageChanged, this, [this] {
        emit presenceChanged();
        emit clientChanged();
    });
}

QString UserProfileModel::deviceIconFor(const QString& lastDevice) {
    if (lastDevice == QLatin1String("iPad")) return QStringLiteral("ipad");
    if (lastDevice == QLatin1String("Mac")) return QStringLiteral("laptopcomputer");
    if (lastDevice == QLatin1String("iPhone")) return QStringLiteral("iphone");
    return QStringLiteral("desktopcomputer");
}

QString UserProfileModel::lastConnectedText(const UserClient& client) {
    if (!client.lastDevice && !client.lastClient) return {};
    QString text = L(QStringLiteral("Last connected:")) + u' ' +
                   client.lastDevice.value_or(L(QStringLiteral("Unknown")));
    if (client.lastClient && !client.lastClient->isEmpty())
        text += QStringLiteral(" · ") + L(QStringLiteral("app")) + u' ' + *client.lastClient;
    return text;
}

qint64 UserProfileModel::userId() const {
    return m_store && m_store->profileUser() ? m_store->profileUser()->id : 0;
}

QUrl UserProfileModel::avatarUrl() const {
    const qint64 id = userId();
    return id ? m_store->avatarURL(id).value_or(QUrl()) : QUrl();
}

QString UserProfileModel::presence() const {
    return userId() ? m_store->presenceText(*m_store->profileUser()) : QString();
}

bool UserProfileModel::online() const {
    const qint64 id = userId();
    return id && m_store->isOnline(id);
}

QString UserProfileModel::lastConnected() const {
    return m_client ? lastConnectedText(*m_client) : QString();
}

QString UserProfileModel::deviceIcon() const {
    return deviceIconFor(m_client ? m_client->lastDevice.value_or(QString()) : QString());
}

// A new person on the sheet: what is known of the last one goes, and the
// server is asked about this one.
void UserProfileModel::follow() {
    const quint64 generation = ++m_generation;
    m_client.reset();
    if (!m_error.isEmpty()) {
        m_error.clear();
        emit errorTextChanged();
    }
    emit userChanged();
    emit presenceChanged();
    emit clientChanged();
    const qint64 id = userId();
    if (!id) return;
    [](QPointer<UserProfileModel> self, QPointer<Store> store, qint64 userId,
       quint64 generation) -> QCoro::Task<> {
        auto call = fetchUserClient(store, userId);
        const auto client = co_await call;
        if (!self || self->m_generation != generation || !client) co_return;
        self->m_client = client;
        emit self->clientChanged();
    }(this, m_store, id, generation);
}

void UserProfileModel::startConversation() {
    if (!userId() || m_busy) return;
    setBusy(true);
    [](QPointer<UserProfileModel> self, QPointer<Store> store, User person) -> QCoro::Task<> {
        auto call = openDirectChat(store, person);
        const auto chatId = co_await call;
        if (!self) co_return;
        self->setBusy(false);
        if (!store) co_return;
        if (chatId) {
            store->setProfileUser(std::nullopt);
            co_return;
        }
        self->m_error = store->lastError().value_or(QString());
        emit self->errorTextChanged();
    }(this, m_store, *m_store->profileUser());
}

void UserProfileModel::setBusy(bool busy) {
    if (m_busy == busy) return;
    m_busy = busy;
    emit busyChanged();
}
