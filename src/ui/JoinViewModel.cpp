#include "ui/JoinViewModel.h"

#include "core/Localisation.h"
#include "model/IDCodec.h"
#include "store/Store.h"
#include "ui/QRSupport.h"

#include <QUrlQuery>

JoinViewModel::JoinViewModel(Store* store, QObject* parent)
    : QObject(parent), m_store(store), m_token(store->token()) {
    connect(store, &Store::chatsReset, this, &JoinViewModel::showPromptChanged);
    connect(store, &Store::chatChanged, this, &JoinViewModel::showPromptChanged);
    connect(store, &Store::chatRemoved, this, &JoinViewModel::showPromptChanged);
    connect(store, &Store::sessionChanged, this, [this] {
        // Every sign-in offers the prompt again.
        const auto token = m_store ? m_store->token() : std::nullopt;
        if (token != m_token) m_promptDismissed = false;
        m_token = token;
        emit showPromptChanged();
    });
    connect(store, &Store::lastErrorChanged, this, [this] {
        if (m_failed) emit errorTextChanged();
    });
    connect(store, &Store::chatsReset, this, &JoinViewModel::followLink);
    connect(store, &Store::selectionChanged, this, &JoinViewModel::followLink);
}

void JoinViewModel::setCode(const QString& code) {
    if (m_code == code) return;
    m_code = code;
    m_failed = false;
    setNotice({});
    emit codeChanged();
    emit errorTextChanged();
}

QString JoinViewModel::errorText() const {
    if (!m_notice.isEmpty()) return m_notice;
    if (!m_failed || !m_store) return {};
    return m_store->lastError().value_or(QString());
}

bool JoinViewModel::showPrompt() const {
    return m_store && m_store->token() && m_store->me() && m_store->chats().isEmpty() &&
           !m_promptDismissed;
}

void JoinViewModel::setBusy(bool busy) {
    if (m_busy == busy) return;
    m_busy = busy;
    emit busyChanged();
}

void JoinViewModel::setNotice(const QString& notice) {
    if (m_notice == notice) return;
    m_notice = notice;
    emit errorTextChanged();
}

void JoinViewModel::reset() {
    m_failed = false;
    setCode({});
    setNotice({});
    emit errorTextChanged();
}

void JoinViewModel::dismissPrompt() {
    if (m_promptDismissed) return;
    m_promptDismissed = true;
    emit showPromptChanged();
}

void JoinViewModel::join() {
    const QString code = m_code.trimmed();
    if (code.isEmpty() || m_busy || !m_store) return;
    m_failed = false;
    setNotice({});
    setBusy(true);
    QSet<qint64> before;
    for (const ChatSummary& chat : std::as_const(m_store->chats()))
        before.insert(chat.id);
    [](QPointer<JoinViewModel> self, QPointer<Store> store, QString text,
       QSet<qint64> known) -> QCoro::Task<> {
        if (store) co_await store->addConversationByCode(text);
        if (!self) co_return;
        self->setBusy(false);
        if (!store) co_return;
        if (store->lastError()) {
            self->m_failed = true;
            emit self->errorTextChanged();
            co_return;
        }
        self->selectFirstNew(known);
        self->setCode({});
        emit self->joined();
    }(this, m_store, code, before);
}

void JoinViewModel::useQRImageFile(const QUrl& file) {
    if (const auto text = qrTextFromFile(file)) {
        setCode(text->trimmed());
        return;
    }
    setNotice(L(QStringLiteral("No QR code found")));
}

void JoinViewModel::pasteQRCode() {
    if (const auto text = qrTextFromClipboard()) {
        setCode(text->trimmed());
        return;
    }
    setNotice(L(QStringLiteral(
        "Couldn't read a QR code there — copy or pick an image that shows the full code.")));
}

void JoinViewModel::openInviteLink(const QUrl& url) {
    if (!m_store) return;
    const QString server =
        QUrlQuery(url).queryItemValue(QStringLiteral("server"), QUrl::FullyDecoded);
    const bool joins = m_store->token() && m_store->me() && !server.isEmpty();
    m_follow = joins ? Store::normalizedServerURL(server) : std::nullopt;
    m_followStage = Follow::waiting;
    m_followSince.start();
    m_store->openInviteLink(url);
}

// The newest conversation of the linked server, once the join has brought it
// into the list. Joining ends with the selection cleared, after the list has
// the server's conversations: the one chosen then is chosen again.
void JoinViewModel::followLink() {
    if (!m_follow || !m_store) return;
    // A join that never came through does not take the window over later.
    if (m_followSince.elapsed() > 60000) {
        m_follow.reset();
        return;
    }
    const std::optional<qint64> target = newestOn(*m_follow);
    if (!target) return;
    const auto selected = m_store->selectedChatId();
    if (m_followStage == Follow::selected && selected && selected != target) {
        m_follow.reset(); // the person went elsewhere
        return;
    }
    if (selected == target) return;
    if (m_followStage == Follow::selected) m_follow.reset();
    m_followStage = Follow::selected;
    m_store->setSection(AppSection::people);
    m_store->setSelectedChatId(*target);
}

// The conversations stand newest first; the first of that server is the one
// the invite was most likely for.
std::optional<qint64> JoinViewModel::newestOn(const QUrl& base) const {
    int server = -1;
    for (const ServerProfile& profile : m_store->extraServers())
        if (Store::normalizedServerURL(profile.url) == base) server = profile.serverId;
    if (server < 0) return std::nullopt;
    for (const ChatSummary& chat : std::as_const(m_store->chats()))
        if (IDCodec::serverId(chat.id) == server) return chat.id;
    return std::nullopt;
}

void JoinViewModel::selectFirstNew(const QSet<qint64>& before) {
    for (const ChatSummary& chat : std::as_const(m_store->chats())) {
        if (before.contains(chat.id)) continue;
        m_store->setSection(AppSection::people);
        m_store->setSelectedChatId(chat.id);
        return;
    }
}
