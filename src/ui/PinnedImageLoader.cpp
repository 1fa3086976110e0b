#include "ui/PinnedImageLoader.h"

#include "net/Pinning.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace {
class PinnedAccessManager : public QNetworkAccessManager {
public:
    using QNetworkAccessManager::QNetworkAccessManager;

protected:
    QNetworkReply* createRequest(Operation op, const QNetworkRequest& original,
                                 QIODevice* outgoingData) override {
        QNetworkRequest request(original);
        PinningDelegate::prepare(request);
        QNetworkReply* reply = QNetworkAccessManager::createRequest(op, request, outgoingData);
        PinningDelegate::attach(reply);
        return reply;
    }
};
} // namespace

QNetworkAccessManager* PinnedNetworkFactory::create(QObject* parent) {
    return new PinnedAccessManager(parent);
}
