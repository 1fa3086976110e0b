#pragma once

// The app in the desktop's tray: its icon carries the unread count, a click
// brings the window forward, the menu opens or quits the app. Nothing shows
// where the desktop has no tray.

#include <QObject>
#include <QPointer>

#include <memory>

class QMenu;
class QSystemTrayIcon;
class QWindow;
class Store;

class TrayIcon : public QObject {
    Q_OBJECT
public:
    TrayIcon(Store* store, QWindow* window, QObject* parent = nullptr);
    ~TrayIcon() override;

    // The app's icon with a red count badge in its corner ("99+" above 99);
    // the plain icon for 0.
    static QIcon badgedIcon(int count);
    static QString badgeText(int count);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void show(int count);

    QPointer<QWindow> m_window;
    std::unique_ptr<QMenu> m_menu;
    std::unique_ptr<QSystemTrayIcon> m_tray;
};
