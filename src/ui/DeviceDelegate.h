// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QStyledItemDelegate>

namespace vt {

/// Draws one device in two lines: name and type, then serial number; "Simulated", "Amplifier" and "In use" as
/// words in a frame at the right.
class DeviceDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    enum Role { ProductType = Qt::UserRole + 1, Serial, Simulated, InUse, Amplifier };

    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

} // namespace vt
