#include "ui/PinnedImageLoader.h"

#include "net/Pinning.h"
#include "net/ServerTokens.h"

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
        // Pictures are for those signed in: each goes out with its own server's token.
        if (op == GetOperation || op == HeadOperation) ServerTokens::shared().authorize(request);
        QNetworkReply* reply = QNetworkAccessManager::createRequest(op, request, outgoingData);
        PinningDelegate::attach(reply);
        return reply;
    }
};
} // namespace

QNetworkAccessManager* PinnedNetworkFactory::create(QObject* parent) {
    return new PinnedAccessManager(parent);
}
