#pragma once

// The composer of the open conversation: the draft with its reply or edit
// target, and the images and files waiting to be sent with a caption. It
// sends through the Store and tells it when the person types.

#include "store/Store.h"

#include <QObject>
#include <QPointer>
#include <QUuid>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

class ComposerModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(qint64 chatId READ chatId WRITE setChatId NOTIFY chatIdChanged)
    Q_PROPERTY(bool followsSelection READ followsSelection WRITE setFollowsSelection NOTIFY
                   followsSelectionChanged)
    Q_PROPERTY(QString draft READ draft WRITE setDraft NOTIFY draftChanged)
    Q_PROPERTY(QVariantMap replyTo READ replyTo NOTIFY targetChanged)
    Q_PROPERTY(bool editing READ editing NOTIFY targetChanged)
    Q_PROPERTY(QVariantList pendingImages READ pendingImages NOTIFY pendingChanged)
    Q_PROPERTY(QVariantList pendingFiles READ pendingFiles NOTIFY pendingChanged)
    Q_PROPERTY(QString imageCaption READ imageCaption WRITE setImageCaption NOTIFY captionChanged)
    Q_PROPERTY(bool originalQuality READ originalQuality WRITE setOriginalQuality NOTIFY
                   originalQualityChanged)
    Q_PROPERTY(bool uploadingMedia READ uploadingMedia NOTIFY uploadingChanged)
    // 0 to 1 across the items being uploaded into this conversation; -1 when unknown.
    Q_PROPERTY(double uploadProgress READ uploadProgress NOTIFY uploadingChanged)
    Q_PROPERTY(bool canPasteImage READ canPasteImage NOTIFY canPasteImageChanged)
    Q_PROPERTY(QString sendImagesLabel READ sendImagesLabel NOTIFY pendingChanged)
    Q_PROPERTY(QString sendFilesLabel READ sendFilesLabel NOTIFY pendingChanged)

public:
    struct PendingImage {
        QUuid id;
        QByteArray data;
    };
    struct PendingFile {
        QUuid id;
        QByteArray data;
        QString name;
    };

    explicit ComposerModel(Store* store, QObject* parent = nullptr);

    qint64 chatId() const { return m_chatId; }
    void setChatId(qint64 chatId);
    bool followsSelection() const { return m_followsSelection; }
    void setFollowsSelection(bool follows);
    QString draft() const { return m_draft; }
    // Every change of a non-empty draft outside an edit tells the others.
    void setDraft(const QString& draft);
    QVariantMap replyTo() const;
    bool editing() const { return m_editTarget.has_value(); }
    QVariantList pendingImages() const;
    QVariantList pendingFiles() const;
    QString imageCaption() const { return m_imageCaption; }
    void setImageCaption(const QString& caption);
    bool originalQuality() const { return m_originalQuality; }
    void setOriginalQuality(bool original);
    bool uploadingMedia() const { return m_uploadingMedia; }
    double uploadProgress() const;
    bool canPasteImage() const { return m_canPasteImage; }
    QString sendImagesLabel() const;
    QString sendFilesLabel() const;

    Q_INVOKABLE void send(bool priority = false);
    Q_INVOKABLE void sendPendingImages(bool original);
    Q_INVOKABLE void sendPendingFiles();
    // Images first, then the recording as a voice message (a spoken caption).
    Q_INVOKABLE void sendImagesWithVoiceCaption(bool original, const QByteArray& audio,
                                                const QString& filePath);
    Q_INVOKABLE void setReplyTo(qint64 messageId);
    Q_INVOKABLE void startEdit(qint64 messageId);
    // Esc: drops the reply or the edit.
    Q_INVOKABLE void cancelReplyOrEdit();
    Q_INVOKABLE bool addImage(const QByteArray& data);
    Q_INVOKABLE bool addImageFile(const QUrl& file);
    Q_INVOKABLE bool addFile(const QUrl& file);
    void addFileData(const QString& name, const QByteArray& data);
    Q_INVOKABLE void removePending(const QString& id);
    Q_INVOKABLE void cancelImages();
    Q_INVOKABLE void cancelFiles();
    // Takes an image from the clipboard into the pending images.
    Q_INVOKABLE bool pasteImage();
    Q_INVOKABLE void refreshCanPasteImage();

    const QList<PendingImage>& images() const { return m_images; }
    const QList<PendingFile>& files() const { return m_files; }
    std::optional<Message> editTarget() const { return m_editTarget; }

signals:
    void chatIdChanged();
    void followsSelectionChanged();
    void draftChanged();
    void targetChanged();
    void pendingChanged();
    void captionChanged();
    void originalQualityChanged();
    void uploadingChanged();
    void canPasteImageChanged();
    // A send that the person started has finished (whatever its outcome).
    void sent();

private:
    std::optional<Message> findMessage(qint64 messageId) const;
    void setUploading(bool uploading);
    QCoro::Task<> sendImages(QList<QByteArray> images, QString caption,
                             std::optional<Message> replaced, bool original);
    QCoro::Task<> sendFiles(QList<PendingFile> files, QString caption,
                            std::optional<Message> replaced);
    void selectionMoved();

    QPointer<Store> m_store;
    qint64 m_chatId = 0;
    bool m_followsSelection = true;
    QString m_draft;
    std::optional<Message> m_replyTo;
    std::optional<Message> m_editTarget;
    QList<PendingImage> m_images;
    QList<PendingFile> m_files;
    QString m_imageCaption;
    bool m_originalQuality = false;
    bool m_uploadingMedia = false;
    bool m_canPasteImage = false;
};

// The byte count the way a file manager shows it ("1.2 MB").
QString attachmentSizeText(qint64 bytes);
