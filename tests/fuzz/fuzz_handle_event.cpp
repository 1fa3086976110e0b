// Arbitrary frames into the event dispatcher of a store holding a small
// picture: nothing may crash, and frames that are not events change nothing.
#include "core/Prefs.h"
#include "store/Store.h"
#include "support/StoreSeam.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <cstdint>
#include <cstdlib>

namespace {
Store& store() {
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    static QTemporaryDir dir;
    static Store* s = [] {
        Prefs::useFile(dir.filePath("fuzz.conf"));
        auto* created = new Store(StoreOptions{0.001});
        seam(created).me() = User{1, "ana"};
        ChatSummary chat;
        chat.id = 7;
        chat.kind = "group";
        chat.members = {User{1, "ana"}, User{2, "bo"}};
        seam(created).chats() = {chat};
        seam(created).messages()[7] = {};
        return created;
    }();
    return *s;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    Store& s = store();
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(bytes), qsizetype(size));
    const bool isEvent = json::tryDecode<WsEvent>(text.toUtf8()).has_value();
    const auto chatsBefore = s.chats();
    s.handleEvent(text, 0);
    s.handleEvent(text, 2);
    if (!isEvent && !(s.chats() == chatsBefore)) std::abort();
    // Keep the picture small so that the run stays fast.
    if (s.messages().value(7).size() > 200) seam(s).messages()[7].clear();
    if (s.chats().size() > 50) seam(s).chats().resize(1);
    return 0;
}
