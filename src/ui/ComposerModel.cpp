#include "ui/ComposerModel.h"

#include "conversations/ImageEncoding.h"
#include "conversations/MessageDecor.h"
#include "core/LocNotifier.h"

#include <QBuffer>
#include <QClipboard>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLocale>
#include <QMimeData>

namespace {
constexpr int originalMaxPixel = 4096;
constexpr double originalQualityFactor = 0.95;
constexpr int compressedMaxPixel = 1280;
constexpr double compressedQualityFactor = 0.6;

QClipboard* clipboard() {
    // Only a GUI application has one.
    return qobject_cast<QGuiApplication*>(QCoreApplication::instance())
               ? QGuiApplication::clipboard()
               : nullptr;
}

std::optional<QByteArray> readFile(const QUrl& url) {
    QFile file(url.isLocalFile() ? url.toLocalFile() : url.toString());
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    return file.readAll();
}
} // namespace

QString attachmentSizeText(qint64 bytes) {
    return QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

ComposerModel::ComposerModel(Store* store, QObject* parent) : QObject(parent), m_store(store) {
    connect(store, &Store::selectionChanged, this, &ComposerModel::selectionMoved);
    connect(store, &Store::uploadsChanged, this, [this](qint64 id) {
        if (id == m_chatId) emit uploadingChanged();
    });
    // The send button's label is made here, in the language of the moment.
    connect(LocNotifier::instance(), &LocNotifier::languageChanged, this,
            &ComposerModel::pendingChanged);
    if (QClipboard* board = clipboard())
        connect(board, &QClipboard::dataChanged, this, &ComposerModel::refreshCanPasteImage);
    refreshCanPasteImage();
    selectionMoved();
}

// MARK: Target conversation

void ComposerModel::selectionMoved() {
    if (m_followsSelection && m_store) setChatId(m_store->selectedChatId().value_or(0));
}

void ComposerModel::setFollowsSelection(bool follows) {
    if (m_followsSelection == follows) return;
    m_followsSelection = follows;
    emit followsSelectionChanged();
    selectionMoved();
}

void ComposerModel::setChatId(qint64 chatId) {
    if (chatId == m_chatId) return;
    m_chatId = chatId;
    // Each conversation keeps its own draft; what was staged here stays behind.
    m_draft = m_store ? m_store->chatDrafts().value(chatId) : QString();
    m_replyTo.reset();
    m_editTarget.reset();
    m_images.clear();
    m_files.clear();
    m_imageCaption.clear();
    emit chatIdChanged();
    emit draftChanged();
    emit targetChanged();
    emit pendingChanged();
    emit captionChanged();
}

// MARK: Draft

void ComposerModel::setDraft(const QString& draft) {
    if (draft == m_draft) return;
    m_draft = draft;
    if (m_store) {
        m_store->setChatDraft(m_chatId, draft);
        if (!draft.isEmpty() && !m_editTarget && m_chatId) m_store->sendTyping(m_chatId);
    }
    emit draftChanged();
}

std::optional<Message> ComposerModel::findMessage(qint64 messageId) const {
    if (!m_store) return std::nullopt;
    for (const Message& m : m_store->messages().value(m_chatId))
        if (m.id == messageId) return m;
    return std::nullopt;
}

QVariantMap ComposerModel::replyTo() const {
    if (!m_replyTo) return {};
    return {{QStringLiteral("id"), m_replyTo->id},
            {QStringLiteral("senderName"), m_replyTo->senderName},
            {QStringLiteral("text"), m_replyTo->displayText()}};
}

void ComposerModel::setReplyTo(qint64 messageId) {
    m_replyTo = findMessage(messageId);
    if (m_replyTo) m_editTarget.reset();
    emit targetChanged();
}

void ComposerModel::startEdit(qint64 messageId) {
    const auto target = findMessage(messageId);
    if (!target || target->id <= 0) return;
    m_editTarget = target;
    m_replyTo.reset();
    emit targetChanged();
    // Filling the draft for an edit is no typing.
    m_draft = target->displayText();
    emit draftChanged();
}

void ComposerModel::cancelReplyOrEdit() {
    if (m_editTarget) setDraft(QString());
    m_replyTo.reset();
    m_editTarget.reset();
    emit targetChanged();
}

void ComposerModel::send(bool priority) {
    const QString text = m_draft.trimmed();
    if (text.isEmpty() || !m_store) return;
    const std::optional<Message> replyTo = m_replyTo;
    const std::optional<Message> edit = m_editTarget;
    setDraft(QString());
    m_replyTo.reset();
    m_editTarget.reset(); // an edit is one send; the next one is a new message
    emit targetChanged();
    [](QPointer<Store> store, QPointer<ComposerModel> self, qint64 chatId, QString text,
       std::optional<Message> replyTo, std::optional<Message> edit,
       bool priority) -> QCoro::Task<> {
        if (!store) co_return;
        if (edit) {
            auto call = store->editMessage(*edit, text);
            co_await call;
        } else {
            auto call = store->sendMessage(chatId, text, replyTo, priority);
            co_await call;
        }
        if (self) emit self->sent();
    }(m_store, this, m_chatId, text, replyTo, edit, priority);
}

// MARK: Pending images and files

bool ComposerModel::addImage(const QByteArray& data) {
    if (!decodedImage(data)) return false;
    m_images.push_back({QUuid::createUuid(), data});
    emit pendingChanged();
    return true;
}

bool ComposerModel::addImageFile(const QUrl& file) {
    const auto data = readFile(file);
    return data && addImage(*data);
}

bool ComposerModel::addFile(const QUrl& file) {
    const auto data = readFile(file);
    if (!data) return false;
    addFileData(QFileInfo(file.toLocalFile()).fileName(), *data);
    return true;
}

void ComposerModel::addFileData(const QString& name, const QByteArray& data) {
    m_files.push_back({QUuid::createUuid(), data, name});
    emit pendingChanged();
}

void ComposerModel::removePending(const QString& id) {
    const QUuid uuid(id);
    m_images.removeIf([&](const PendingImage& i) { return i.id == uuid; });
    m_files.removeIf([&](const PendingFile& f) { return f.id == uuid; });
    emit pendingChanged();
}

void ComposerModel::cancelImages() {
    m_images.clear();
    m_imageCaption.clear();
    emit pendingChanged();
    emit captionChanged();
}

void ComposerModel::cancelFiles() {
    m_files.clear();
    m_imageCaption.clear();
    emit pendingChanged();
    emit captionChanged();
}

QVariantList ComposerModel::pendingImages() const {
    QVariantList out;
    for (const PendingImage& image : m_images) {
        const auto size = imagePixelSize(image.data);
        out.push_back(QVariantMap{
            {QStringLiteral("id"), image.id.toString(QUuid::WithoutBraces)},
            {QStringLiteral("url"), QStringLiteral("data:application/octet-stream;base64,") +
                                        QString::fromLatin1(image.data.toBase64())},
            {QStringLiteral("width"), size ? size->width() : 0},
            {QStringLiteral("height"), size ? size->height() : 0}});
    }
    return out;
}

QVariantList ComposerModel::pendingFiles() const {
    QVariantList out;
    for (const PendingFile& file : m_files)
        out.push_back(QVariantMap{{QStringLiteral("id"), file.id.toString(QUuid::WithoutBraces)},
                                  {QStringLiteral("name"), file.name},
                                  {QStringLiteral("size"), attachmentSizeText(file.data.size())},
                                  {QStringLiteral("icon"), FileComposer::icon(file.name)}});
    return out;
}

QString ComposerModel::sendImagesLabel() const {
    if (m_images.size() == 1) return L(QStringLiteral("Send Image"));
    // One text with the count inside, so a language can put the count where it belongs.
    return Lf(QStringLiteral("Send %@ Images"), QString::number(m_images.size()));
}

QString ComposerModel::sendFilesLabel() const {
    if (m_files.size() == 1) return L(QStringLiteral("Send File"));
    return Lf(QStringLiteral("Send %@ Files"), QString::number(m_files.size()));
}

void ComposerModel::setImageCaption(const QString& caption) {
    if (caption == m_imageCaption) return;
    m_imageCaption = caption;
    emit captionChanged();
}

void ComposerModel::setOriginalQuality(bool original) {
    if (original == m_originalQuality) return;
    m_originalQuality = original;
    emit originalQualityChanged();
}

double ComposerModel::uploadProgress() const {
    if (!m_store) return -1.0;
    const auto it = m_store->uploads().constFind(m_chatId);
    return it != m_store->uploads().constEnd() ? it->fraction() : -1.0;
}

void ComposerModel::setUploading(bool uploading) {
    if (uploading == m_uploadingMedia) return;
    m_uploadingMedia = uploading;
    emit uploadingChanged();
}

// MARK: Clipboard

void ComposerModel::refreshCanPasteImage() {
    const QClipboard* board = clipboard();
    const QMimeData* mime = board ? board->mimeData() : nullptr;
    const bool can = mime && mime->hasImage();
    if (can == m_canPasteImage) return;
    m_canPasteImage = can;
    emit canPasteImageChanged();
}

bool ComposerModel::pasteImage() {
    const QClipboard* board = clipboard();
    const QMimeData* mime = board ? board->mimeData() : nullptr;
    if (!mime || !mime->hasImage()) return false;
    // PNG as the clipboard carries it; otherwise the decoded image written as PNG.
    if (mime->hasFormat(QStringLiteral("image/png")) &&
        addImage(mime->data(QStringLiteral("image/png"))))
        return true;
    const QImage image = qvariant_cast<QImage>(mime->imageData());
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    return !image.isNull() && image.save(&buffer, "PNG") && addImage(png);
}

// MARK: Sending what is staged

void ComposerModel::sendPendingImages(bool original) {
    if (m_images.isEmpty() || !m_store) return;
    QList<QByteArray> images;
    for (const PendingImage& image : std::as_const(m_images))
        images.push_back(image.data);
    const QString caption = m_imageCaption.trimmed();
    const std::optional<Message> replaced = m_editTarget;
    m_editTarget.reset();
    m_images.clear();
    m_imageCaption.clear();
    emit targetChanged();
    emit pendingChanged();
    emit captionChanged();
    sendImages(images, caption, replaced, original);
}

QCoro::Task<> ComposerModel::sendImages(QList<QByteArray> images, QString caption,
                                        std::optional<Message> replaced, bool original) {
    QPointer<ComposerModel> self(this);
    QPointer<Store> store = m_store;
    const qint64 chatId = m_chatId;
    // Replacing a message's media means deleting it and sending anew.
    if (replaced && store) {
        auto call = store->deleteMessage(*replaced);
        co_await call;
    }
    if (!self || !store) co_return;
    setUploading(true);
    auto encode =
        encodeImagesConcurrently(images, original ? originalMaxPixel : compressedMaxPixel,
                                 original ? originalQualityFactor : compressedQualityFactor);
    const QList<QByteArray> jpegs = co_await encode;
    if (!self || !store) co_return;
    QList<Store::MediaUpload> items;
    for (const QByteArray& jpeg : jpegs) {
        const auto size = imagePixelSize(jpeg);
        Store::MediaUpload item;
        item.data = jpeg;
        item.kind = QStringLiteral("image");
        item.ext = QStringLiteral("jpg");
        item.caption = items.isEmpty() ? caption : QString(); // on the first item only
        if (size) {
            item.width = size->width();
            item.height = size->height();
        }
        items.push_back(item);
    }
    auto batch = store->sendMediaBatch(chatId, items);
    co_await batch;
    if (!self) co_return;
    setUploading(false);
    refreshCanPasteImage();
    emit sent();
}

void ComposerModel::sendImagesWithVoiceCaption(bool original, const QByteArray& audio,
                                               const QString& filePath) {
    if (!m_store) return;
    QList<QByteArray> images;
    for (const PendingImage& image : std::as_const(m_images))
        images.push_back(image.data);
    m_images.clear();
    m_imageCaption.clear();
    emit pendingChanged();
    emit captionChanged();
    [](QPointer<ComposerModel> self, QPointer<Store> store, qint64 chatId, QList<QByteArray> images,
       bool original, QByteArray audio, QString filePath) -> QCoro::Task<> {
        if (!self) co_return;
        auto pictures = self->sendImages(images, QString(), std::nullopt, original);
        co_await pictures;
        if (!store) co_return;
        auto voice = store->sendVoiceMessage(chatId, audio, filePath, std::nullopt,
                                             store->transcriptionEngine());
        co_await voice;
    }(this, m_store, m_chatId, images, original, audio, filePath);
}

void ComposerModel::sendPendingFiles() {
    if (!m_store) return;
    const QList<PendingFile> files = m_files;
    const QString caption = m_imageCaption.trimmed();
    const std::optional<Message> replaced = m_editTarget;
    m_files.clear();
    m_imageCaption.clear();
    m_editTarget.reset();
    emit pendingChanged();
    emit captionChanged();
    emit targetChanged();
    if (files.isEmpty() && caption.isEmpty()) return;
    sendFiles(files, caption, replaced);
}

QCoro::Task<> ComposerModel::sendFiles(QList<PendingFile> files, QString caption,
                                       std::optional<Message> replaced) {
    QPointer<ComposerModel> self(this);
    QPointer<Store> store = m_store;
    const qint64 chatId = m_chatId;
    if (replaced && store) {
        auto call = store->deleteMessage(*replaced);
        co_await call;
    }
    if (!self || !store) co_return;
    setUploading(true);
    const auto extOf = [](const QString& name) {
        const QString ext = lowerPathExtension(name);
        return ext.isEmpty() ? QStringLiteral("bin") : ext;
    };
    if (files.size() == 1) {
        const PendingFile& file = files.first();
        auto call = store->sendMedia(chatId, file.data, QStringLiteral("file"), extOf(file.name),
                                     file.name);
        co_await call;
    } else if (files.size() > 1) {
        QList<Store::MediaUpload> items;
        for (const PendingFile& file : std::as_const(files))
            items.push_back({file.data, QStringLiteral("file"), extOf(file.name), QString(),
                             std::nullopt, std::nullopt, file.name});
        auto call = store->sendMediaBatch(chatId, items);
        co_await call;
    }
    if (!self || !store) co_return;
    // A typed caption follows as a message of its own.
    if (!caption.isEmpty()) {
        auto call = store->sendMessage(chatId, caption);
        co_await call;
        if (!self) co_return;
    }
    setUploading(false);
    emit sent();
}
