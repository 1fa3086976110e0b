#pragma once

#include <QString>
#include <QTemporaryDir>
#include <memory>

// Points the preferences store at a fresh file of its own, so every test case
// starts from an empty install and never touches the developer's settings.
class ScopedPrefs {
public:
    ScopedPrefs();
    ~ScopedPrefs();
    QString path() const;

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};
