#include "ui/TextFileEditorModel.h"

#include "store/Store.h"

#include <QClipboard>
#include <QGuiApplication>

TextFileEditorModel::TextFileEditorModel(Store* store, QObject* parent)
    : QObject(parent), m_store(store) {}

QString TextFileEditorModel::title() const {
    return m_envName.isEmpty() ? QStringLiteral("CLAUDE.md") : m_envName;
}

void TextFileEditorModel::setText(const QString& text) {
    if (text == m_text) return;
    m_text = text;
    emit textChanged();
}

void TextFileEditorModel::openClaudeMd(qint64 chatId) {
    open(chatId, QString());
}

void TextFileEditorModel::openEnvFile(qint64 chatId, const QString& name) {
    open(chatId, name);
}

void TextFileEditorModel::open(qint64 chatId, const QString& envName) {
    m_chatId = chatId;
    m_envName = envName;
    m_text.clear();
    m_original.clear();
    m_saveFailed = false;
    emit fileChanged();
    emit textChanged();
    reload();
}

void TextFileEditorModel::reload() {
    load();
}

QCoro::Task<> TextFileEditorModel::load() {
    QPointer<TextFileEditorModel> self(this);
    QPointer<Store> store = m_store;
    if (!store || !m_chatId) co_return;
    const quint64 generation = ++m_generation;
    m_loading = true;
    m_loadFailed = false;
    emit stateChanged();
    const qint64 chatId = m_chatId;
    const QString name = m_envName;
    std::optional<QString> content;
    if (name.isEmpty()) {
        auto read = store->ccReadClaudeMd(chatId);
        content = co_await read;
    } else {
        auto read = store->ccReadEnvFile(chatId, name);
        content = co_await read;
    }
    // A newer file was opened meanwhile: this text is not its.
    if (!self || generation != m_generation) co_return;
    m_loading = false;
    m_loadFailed = !content;
    m_original = content.value_or(QString());
    m_text = m_original;
    emit stateChanged();
    emit textChanged();
}

void TextFileEditorModel::save() {
    if (!dirty() || m_saving) return;
    [](QPointer<TextFileEditorModel> self) -> QCoro::Task<> {
        auto call = self->write();
        const bool ok = co_await call;
        if (self && ok) emit self->saved();
    }(QPointer<TextFileEditorModel>(this));
}

QCoro::Task<bool> TextFileEditorModel::write() {
    QPointer<TextFileEditorModel> self(this);
    QPointer<Store> store = m_store;
    if (!store || !m_chatId) co_return false;
    m_saving = true;
    m_saveFailed = false;
    emit stateChanged();
    const QString content = m_text;
    bool ok = false;
    if (m_envName.isEmpty()) {
        auto call = store->ccWriteClaudeMd(m_chatId, content);
        ok = co_await call;
    } else {
        auto call = store->ccWriteEnvFile(m_chatId, m_envName, content);
        ok = co_await call;
    }
    if (!self) co_return ok;
    m_saving = false;
    m_saveFailed = !ok;
    if (ok) m_original = content;
    emit stateChanged();
    emit textChanged();
    co_return ok;
}

void TextFileEditorModel::copyAll() const {
    if (auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        app->clipboard()->setText(m_text);
}
