// Which section is on screen, the main menu drawer, another person's profile
// sheet and the transient toast.

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
    if (profileUser == user) return;
    profileUser = std::move(user);
    emit profileUserChanged();
}

void Store::showToast(const QString& text) {
    toast = text;
    const int id = ++toastId;
    emit toastChanged();
    [](QPointer<Store> self, int shown) -> QCoro::Task<> {
        co_await self->sleep(1.5);
        if (!self || self->toastId != shown) co_return;
        self->toast.reset();
        emit self->toastChanged();
    }(QPointer<Store>(this), id);
}
