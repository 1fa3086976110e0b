#pragma once

// What a view would hold if it only ever read rows the model signalled as
// new or changed: a missing dataChanged or a wrong insert shows up here. With
// roles given, a dataChanged naming only other roles is not read again, as a
// delegate binding only those roles would not.

#include <QAbstractItemModel>
#include <QStringList>
#include <algorithm>
#include <functional>

class ShadowRows : public QObject {
public:
    using Reader = std::function<QString(const QModelIndex&)>;
    ShadowRows(QAbstractItemModel* model, Reader read, QList<int> roles = {})
        : m_model(model), m_read(std::move(read)), m_roles(std::move(roles)) {
        connect(model, &QAbstractItemModel::modelReset, this, [this] { reload(); });
        connect(model, &QAbstractItemModel::rowsInserted, this,
                [this](const QModelIndex&, int a, int b) {
                    for (int r = a; r <= b; ++r)
                        rows.insert(r, m_read(m_model->index(r, 0)));
                });
        connect(model, &QAbstractItemModel::rowsRemoved, this,
                [this](const QModelIndex&, int a, int b) { rows.remove(a, b - a + 1); });
        connect(model, &QAbstractItemModel::rowsMoved, this,
                [this](const QModelIndex&, int a, int b, const QModelIndex&, int to) {
                    const QStringList moving = rows.mid(a, b - a + 1);
                    rows.remove(a, b - a + 1);
                    const int at = to > a ? to - (b - a + 1) : to;
                    for (int k = 0; k < moving.size(); ++k)
                        rows.insert(at + k, moving[k]);
                });
        connect(model, &QAbstractItemModel::dataChanged, this,
                [this](const QModelIndex& tl, const QModelIndex& br, const QList<int>& changed) {
                    if (!watches(changed)) return;
                    for (int r = tl.row(); r <= br.row(); ++r)
                        rows[r] = m_read(m_model->index(r, 0));
                });
        reload();
    }
    void reload() {
        rows.clear();
        for (int r = 0; r < m_model->rowCount(); ++r)
            rows << m_read(m_model->index(r, 0));
    }
    QStringList rows;

private:
    bool watches(const QList<int>& changed) const {
        if (changed.isEmpty() || m_roles.isEmpty()) return true;
        return std::any_of(changed.begin(), changed.end(),
                           [this](int role) { return m_roles.contains(role); });
    }

    QAbstractItemModel* m_model;
    Reader m_read;
    QList<int> m_roles;
};
