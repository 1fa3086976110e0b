#include "shell/TrayIcon.h"

#include "shell/Localisation.h"
#include "store/Store.h"

#include <QApplication>
#include <QEvent>
#include <QMenu>
#include <QPainter>
#include <QSystemTrayIcon>
#include <QWindow>

namespace {

QIcon appIcon() {
    return QIcon(QStringLiteral(":/icons/velmarin.svg"));
}

void bringForward(QWindow* window) {
    if (!window) return;
    window->show();
    if (window->windowStates() & Qt::WindowMinimized)
        window->setWindowStates(window->windowStates() & ~Qt::WindowMinimized);
    window->raise();
    window->requestActivate();
}

} // namespace

QString TrayIcon::badgeText(int count) {
    if (count <= 0) return {};
    return count > 99 ? QStringLiteral("99+") : QString::number(count);
}

QIcon TrayIcon::badgedIcon(int count) {
    const QString text = badgeText(count);
    if (text.isEmpty()) return appIcon();
    constexpr int side = 64;
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    appIcon().paint(&painter, QRect(0, 0, side, side));
    QFont font = painter.font();
    font.setBold(true);
    font.setPixelSize(text.size() > 2 ? 20 : 26);
    painter.setFont(font);
    const int width = std::max(36, painter.fontMetrics().horizontalAdvance(text) + 12);
    const QRect badge(side - width, 0, width, 36);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0xE5, 0x39, 0x35));
    painter.drawRoundedRect(badge, 18, 18);
    painter.setPen(Qt::white);
    painter.drawText(badge, Qt::AlignCenter, text);
    painter.end();
    return QIcon(pixmap);
}

TrayIcon::TrayIcon(Store* store, QWindow* window, QObject* parent)
    : QObject(parent), m_window(window) {
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()) ||
        !QSystemTrayIcon::isSystemTrayAvailable())
        return;
    m_menu = std::make_unique<QMenu>();
    m_menu->addAction(L(QStringLiteral("Open Velmarin")), this, [this] { bringForward(m_window); });
    m_menu->addSeparator();
    m_menu->addAction(L(QStringLiteral("Quit")), qApp, &QCoreApplication::quit);
    m_tray = std::make_unique<QSystemTrayIcon>();
    m_tray->setContextMenu(m_menu.get());
    connect(m_tray.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger) bringForward(m_window);
            });
    connect(store, &Store::badgeChanged, this, &TrayIcon::show);
    show(store->badgeCount());
    m_tray->show();
    if (m_window) m_window->installEventFilter(this);
}

// Closing the window from the desktop keeps the app in the tray, as desktop
// messengers do; quitting (menu, Ctrl+Q) closes it without a spontaneous event.
bool TrayIcon::eventFilter(QObject* watched, QEvent* event) {
    if (watched != m_window || event->type() != QEvent::Close || !event->spontaneous() || !m_tray ||
        !m_tray->isVisible())
        return QObject::eventFilter(watched, event);
    m_window->hide();
    event->ignore();
    return true;
}

TrayIcon::~TrayIcon() = default;

void TrayIcon::show(int count) {
    if (!m_tray) return;
    m_tray->setIcon(badgedIcon(count));
    m_tray->setToolTip(count > 0 ? Lf(QStringLiteral("Velmarin — %@ unread"), badgeText(count))
                                 : QStringLiteral("Velmarin"));
}
