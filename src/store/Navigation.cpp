// Which section is on screen, the main menu drawer, another person's profile
// sheet.

#include "store/Store.h"

void Store::setSection(AppSection section) {
    if (m_section == section) return;
    m_section = section;
    emit navigationChanged();
}

void Store::setShowMainMenu(bool show) {
    if (m_showMainMenu == show) return;
    m_showMainMenu = show;
    emit navigationChanged();
}

void Store::setProfileUser(std::optional<User> user) {
    if (m_profileUser == user) return;
    m_profileUser = std::move(user);
    emit profileUserChanged();
}
