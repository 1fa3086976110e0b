#include "ui/Icons.h"

#include <QFontDatabase>
#include <QHash>

namespace {
struct IconRow {
    const char* symbol;
    char32_t codePoint;
};

// Symbol name -> Material Icons code point (the icon's name there after //).
// clang-format off
constexpr IconRow rows[] = {
    {"arrow.clockwise", 0xe5d5}, // refresh
    {"arrow.clockwise.circle", 0xe9d8}, // replay_circle_filled
    {"arrow.down", 0xe5db}, // arrow_downward
    {"arrow.down.circle", 0xe2c4}, // file_download
    {"arrow.down.app", 0xe62a}, // system_update
    {"arrow.down.app.fill", 0xe62a}, // system_update
    {"arrow.up", 0xe5d8}, // arrow_upward
    {"arrow.up.right", 0xf1e1}, // north_east
    {"archivebox", 0xe149}, // archive
    {"arrowshape.turn.up.left", 0xe15e}, // reply
    {"arrowshape.turn.up.right", 0xe154}, // forward
    {"bell.badge", 0xe7f7}, // notifications_active
    {"bell.fill", 0xe7f4}, // notifications
    {"bolt.circle.fill", 0xe932}, // offline_bolt
    {"bolt.fill", 0xea0b}, // bolt
    {"brain.head.profile", 0xea4a}, // psychology
    {"brain.head.profile.fill", 0xea4a}, // psychology
    {"briefcase.fill", 0xe8f9}, // work
    {"camera.viewfinder", 0xe3b4}, // center_focus_strong
    {"checkmark", 0xe5ca}, // check
    {"checkmark.circle.fill", 0xe86c}, // check_circle
    {"chevron.down", 0xe5cf}, // expand_more
    {"chevron.left", 0xe5cb}, // chevron_left
    {"chevron.left.forwardslash.chevron.right", 0xe86f}, // code
    {"chevron.right", 0xe5cc}, // chevron_right
    {"chevron.up", 0xe5ce}, // expand_less
    {"chevron.up.chevron.down", 0xe5d7}, // unfold_more
    {"circle.lefthalf.filled", 0xeb37}, // contrast
    {"circle", 0xe836}, // radio_button_unchecked
    {"clock", 0xe8b5}, // schedule
    {"clock.arrow.circlepath", 0xe889}, // history
    {"cpu", 0xe322}, // memory
    {"cursorarrow.rays", 0xe762}, // ads_click
    {"desktopcomputer", 0xe30c}, // desktop_windows
    {"doc.on.clipboard", 0xe14f}, // content_paste
    {"doc.on.doc", 0xe14d}, // content_copy
    {"doc.plaintext", 0xef42}, // article
    {"doc.richtext", 0xf009}, // feed
    {"doc.text", 0xe873}, // description
    {"doc.text.fill", 0xe873}, // description
    {"doc.zipper", 0xeb2c}, // folder_zip
    {"doc", 0xe873}, // description
    {"ellipsis.bubble.fill", 0xe0bf}, // forum
    {"ellipsis", 0xe5d3}, // more_horiz
    {"envelope.fill", 0xe0be}, // email
    {"eraser", 0xf0ff}, // cleaning_services
    {"exclamationmark.circle", 0xe001}, // error_outline
    {"exclamationmark.triangle.fill", 0xe002}, // warning
    {"externaldrive.badge.checkmark", 0xe2bf}, // cloud_done
    {"eye.fill", 0xe8f4}, // visibility
    {"folder.fill", 0xe2c7}, // folder
    {"gauge.high", 0xe9e4}, // speed
    {"gauge.low", 0xe9e4}, // speed
    {"gauge.medium", 0xe9e4}, // speed
    {"gauge.with.dots.needle.33percent", 0xe9e4}, // speed
    {"gauge.with.dots.needle.67percent", 0xe9e4}, // speed
    {"gearshape.fill", 0xe8b8}, // settings
    {"gearshape", 0xe8b8}, // settings
    {"globe", 0xe894}, // language
    {"hammer.fill", 0xe869}, // build
    {"hand.raised", 0xe764}, // back_hand
    {"icon-chat", 0xe0ca}, // chat_bubble
    {"info.circle", 0xe88e}, // info
    {"ipad", 0xe331}, // tablet_mac
    {"iphone", 0xe325}, // phone_iphone
    {"keyboard.fill", 0xe312}, // keyboard
    {"laptopcomputer", 0xe320}, // laptop_mac
    {"line.3.horizontal", 0xe5d2}, // menu
    {"lock.fill", 0xe897}, // lock
    {"lock.shield", 0xe32a}, // security
    {"magnifyingglass", 0xe8b6}, // search
    {"minus.magnifyingglass", 0xe900}, // zoom_out
    {"mappin.and.ellipse", 0xe55f}, // place
    {"message.fill", 0xe0c9}, // message
    {"mic.fill", 0xe029}, // mic
    {"paperclip", 0xe226}, // attach_file
    {"paperplane.fill", 0xe163}, // send
    {"pause.circle", 0xe036}, // pause_circle_outline
    {"pause.circle.fill", 0xe035}, // pause_circle_filled
    {"pencil", 0xe3c9}, // edit
    {"person.2.fill", 0xe7fb}, // people
    {"person.badge.plus", 0xe7fe}, // person_add
    {"person.crop.circle.fill", 0xe853}, // account_circle
    {"phone.fill", 0xe0cd}, // phone
    {"photo", 0xe3f4}, // image
    {"play.circle", 0xe039}, // play_circle_outline
    {"play.circle.fill", 0xe038}, // play_circle_filled
    {"play.display", 0xf06a}, // smart_display
    {"plus", 0xe145}, // add
    {"plus.circle", 0xe148}, // add_circle_outline
    {"plus.circle.fill", 0xe147}, // add_circle
    {"plus.magnifyingglass", 0xe8ff}, // zoom_in
    {"qrcode.viewfinder", 0xf206}, // qr_code_scanner
    {"rectangle.portrait.and.arrow.right", 0xe9ba}, // logout
    {"repo.git", 0xe97a}, // account_tree
    {"safari", 0xe89d}, // open_in_browser
    {"safari.fill", 0xe87a}, // explore
    {"server.rack", 0xe875}, // dns
    {"star.fill", 0xe838}, // star
    {"stethoscope", 0xf109}, // medical_services
    {"stop.circle.fill", 0xef71}, // stop_circle
    {"text.magnifyingglass", 0xf02f}, // manage_search
    {"trash", 0xe872}, // delete
    {"waveform", 0xe1b8}, // graphic_eq
    {"tray.full.fill", 0xe156}, // inbox
    {"xmark", 0xe5cd}, // close
    {"xmark.circle.fill", 0xe5c9}, // cancel
};
// clang-format on

const QHash<QString, char32_t>& table() {
    static const QHash<QString, char32_t> map = [] {
        QHash<QString, char32_t> m;
        for (const IconRow& row : rows)
            m.insert(QString::fromLatin1(row.symbol), row.codePoint);
        return m;
    }();
    return map;
}

QString& loadedFamily() {
    static QString family;
    return family;
}
} // namespace

namespace Icons {

QString fontFamily() {
    return loadedFamily().isEmpty() ? QStringLiteral("Material Icons") : loadedFamily();
}

bool loadFont() {
    if (!loadedFamily().isEmpty()) return true;
    const int id =
        QFontDatabase::addApplicationFont(QStringLiteral(":/fonts/MaterialIcons-Regular.ttf"));
    if (id < 0) return false;
    const QStringList families = QFontDatabase::applicationFontFamilies(id);
    if (families.isEmpty()) return false;
    loadedFamily() = families.first();
    return true;
}

char32_t codePoint(const QString& symbol) {
    return table().value(symbol, 0);
}

QString glyph(const QString& symbol) {
    const char32_t cp = codePoint(symbol);
    if (cp == 0) return {};
    return QString::fromUcs4(&cp, 1);
}

QStringList knownSymbols() {
    QStringList names;
    for (const IconRow& row : rows)
        names.append(QString::fromLatin1(row.symbol));
    return names;
}

} // namespace Icons
