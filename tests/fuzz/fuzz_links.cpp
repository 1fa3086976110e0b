// Links in the velmarin scheme come from message text and from other
// launches: any text must route to one outcome without a crash, and what a
// link hands on must come from the link itself.
#include "core/Prefs.h"
#include "store/Store.h"
#include "support/StoreSeam.h"
#include "ui/LinkRouter.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <cstdint>
#include <cstdlib>

namespace {
void check(bool ok) {
    if (!ok) std::abort();
}

Store& store() {
    static int argc = 1;
    static char name[] = "fuzz_links";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    static QTemporaryDir dir;
    static Store* s = [] {
        Prefs::useFile(dir.filePath(QStringLiteral("Velmarin.conf")));
        auto* created = new Store;
        User bob;
        bob.id = 2;
        bob.username = QStringLiteral("bob");
        seam(created).users() = {bob};
        return created;
    }();
    return *s;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Store& s = store();
    const QUrl url(QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size)));
    const auto copy = LinkRouter::copyText(url);
    const auto user = LinkRouter::userName(url);
    check(!(copy && user));
    check(!(copy && LinkRouter::isInviteLink(url)));

    QString copied;
    bool invited = false;
    s.setProfileUser(std::nullopt);
    LinkRouter router(s, [&](const QString& text) { copied = text; });
    router.setInviteHandler([&](const QUrl&) { invited = true; });
    const LinkRouter::Outcome outcome = router.open(url);
    check(copied.isEmpty() || (copy && copied == *copy));
    check(!invited || LinkRouter::isInviteLink(url));
    check(!s.profileUser() || (user && s.profileUser()->username == *user));
    if (copy || user || invited) check(outcome != LinkRouter::Outcome::system);
    return 0;
}
