#include "ui/InviteViewModel.h"

#include "core/Localisation.h"
#include "store/Store.h"
#include "ui/QRSupport.h"

#include <QClipboard>
#include <QGuiApplication>

namespace {
void copyText(const QString& text) {
    if (QClipboard* clipboard = QGuiApplication::clipboard()) clipboard->setText(text);
}
} // namespace

InviteViewModel::InviteViewModel(Store* store, QObject* parent) : QObject(parent), m_store(store) {
    connect(store, &Store::chatRemoved, this, [this](qint64 id) {
        if (id != m_chatId) return;
        ++m_generation;
        m_chatId = 0;
        setCode({});
        emit chatChanged();
    });
}

QString InviteViewModel::chatTitle() const {
    const ChatSummary* chat = m_store ? m_store->chat(m_chatId) : nullptr;
    if (!chat) return {};
    return chat->displayTitle(m_store->me() ? std::optional<qint64>(m_store->me()->id)
                                            : std::nullopt);
}

QString InviteViewModel::shareText() const {
    return m_code.isEmpty() || !m_store ? QString() : m_store->shareableInvite(m_code, m_chatId);
}

QString InviteViewModel::link() const {
    return m_store ? m_store->inviteLink(m_chatId).value_or(QString()) : QString();
}

void InviteViewModel::open(qint64 chatId) {
    ++m_generation;
    m_chatId = chatId;
    setBusy(false);
    setError({});
    setCode({});
    emit chatChanged();
    run(Op::read);
}

void InviteViewModel::rotate() {
    if (!m_busy) run(Op::rotate);
}

void InviteViewModel::revoke() {
    if (!m_busy) run(Op::revoke);
}

void InviteViewModel::run(Op op) {
    if (!m_store || m_chatId == 0) return;
    setBusy(true);
    setError({});
    // The code shown is always the one of the conversation opened last.
    [](QPointer<InviteViewModel> self, QPointer<Store> store, qint64 chatId, Op op,
       int generation) -> QCoro::Task<> {
        std::optional<QString> code;
        bool withdrawn = false;
        if (op == Op::revoke) {
            auto call = store->revokeInvite(chatId);
            withdrawn = co_await call;
        } else if (op == Op::rotate) {
            auto call = store->rotateInvite(chatId);
            code = co_await call;
        } else {
            auto call = store->inviteCode(chatId);
            code = co_await call;
        }
        if (!self || !store || generation != self->m_generation) co_return;
        self->setBusy(false);
        // The server's own words stay in lastError; the sheet says what failed.
        if (store->lastError()) {
            self->setError(
                op == Op::read
                    ? L(QStringLiteral("Couldn't load the invite. Try again in a moment."))
                    : L(QStringLiteral("Couldn't change the invite. Try again in a moment.")));
            co_return;
        }
        if (code || withdrawn || op == Op::read) self->setCode(code.value_or(QString()));
    }(this, m_store, m_chatId, op, m_generation);
}

void InviteViewModel::copyShareText() {
    const QString text = shareText();
    if (text.isEmpty() || !m_store) return;
    copyText(text);
    m_store->showToast(L(QStringLiteral("Copied")));
}

void InviteViewModel::copyLink() {
    const QString text = link();
    if (text.isEmpty() || !m_store) return;
    copyText(text);
    m_store->showToast(L(QStringLiteral("Copied")));
}

bool InviteViewModel::saveQR(const QUrl& file) {
    const QString text = shareText();
    if (text.isEmpty()) return false;
    const bool saved = saveQRImage(text, file);
    if (m_store)
        m_store->showToast(saved ? L(QStringLiteral("Saved"))
                                 : L(QStringLiteral("Could not save the file")));
    return saved;
}

void InviteViewModel::setCode(const QString& code) {
    if (m_code == code && (code.isEmpty() || !m_qrImage.isEmpty())) return;
    m_code = code;
    m_qrImage = code.isEmpty() ? QString() : qrImageDataUrl(shareText());
    emit codeChanged();
}

void InviteViewModel::setBusy(bool busy) {
    if (m_busy == busy) return;
    m_busy = busy;
    emit busyChanged();
}

void InviteViewModel::setError(const QString& error) {
    if (m_error == error) return;
    m_error = error;
    emit errorTextChanged();
}
