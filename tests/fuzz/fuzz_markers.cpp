// Message texts come from other participants: every marker reader, the
// display filter and the deploy parser must take any text without crashing,
// and what they report must really be in the text.
#include "agent/Markers.h"
#include "model/IDCodec.h"

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool ok) {
    if (!ok) std::abort();
}

// The first byte picks the server of the carrying message, so the id mapping
// runs with other numbers than 0.
Message fromInput(const uint8_t* data, size_t size) {
    Message m;
    m.id = IDCodec::encode(1000, size > 0 ? data[0] % 4 : 0);
    m.senderId = 2;
    m.text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    return m;
}

void readLineMarkers(const Message& m) {
    const bool hint = mayHoldLineMarkers(m.text);
    const int server = IDCodec::serverId(m.id);
    for (const auto& id :
         {m.ccWorkingMsgId(), m.ccWorkingStartId(), m.ccSeenMsgId(), m.ccAnswersId()}) {
        check(!id || hint);
        check(!id || *id < 0 || server == 0 || IDCodec::serverId(*id) == server);
    }
    check(!m.ccWorkingMsgId() || m.text.contains(u"CCMSG="));
    check(!m.ccContextTokens() || m.text.contains(u"CCTOK="));
    for (const auto& value : {m.ccModel(), m.ccAccount(), m.ccEffort()})
        check(!value || (!value->isEmpty() && m.text.contains(*value)));
    check(!m.ccChromeActive() || m.text.contains(u"CCCHROME="));
    check(!m.ccScreenshotActive() || m.text.contains(u"CCSHOT="));
    check(m.ccDoneIds().isEmpty() || m.text.contains(u"CCDONE="));
}

void readDisplay(const Message& m) {
    const QString shown = m.displayText();
    check(shown.size() <= m.text.size());
    const bool untouched =
        !m.isPriority() && !m.text.contains(u"CC") && !m.text.contains(Config::ccDeployMarker);
    check(!untouched || shown == m.text);
    for (QStringView line : QStringView(m.text).tokenize(u'\n'))
        check(!Message::isMarkerLine(line) || (line.contains(u"CC") && line.contains(u'=')));
    (void)m.systemNoteText();
}

void readDeploy(const Message& m) {
    const auto target = m.deployTarget();
    if (!target) return;
    check(m.text.contains(Config::ccDeployMarker));
    check(target->kind == u"app" || target->kind == u"web");
    check(target->url.startsWith(u"http", Qt::CaseInsensitive));
    check(!target->label || !target->label->isEmpty());
}

// Each line becomes one message of a small conversation, the input as the
// agent's bubble at its end.
void readAnsweredPrompt(const Message& bubble) {
    QList<Message> chat;
    qint64 id = 1;
    for (QStringView line : QStringView(bubble.text).tokenize(u'\n')) {
        Message m;
        m.id = id++;
        m.senderId = id % 3;
        m.text = line.toString();
        chat.append(m);
    }
    Message last = bubble;
    last.id = id;
    const auto quoted = answeredPrompt(
        last, chat, [](qint64 s) { return s == 2; }, 1);
    check(!quoted || (quoted->id > 0 && quoted->id < last.id));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Message m = fromInput(data, size);
    (void)m.isCCControl();
    (void)m.isCCWorking();
    readLineMarkers(m);
    readDisplay(m);
    readDeploy(m);
    readAnsweredPrompt(m);
    return 0;
}
