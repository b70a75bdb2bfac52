// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDialog>
#include <QString>
#include <vector>

namespace vt {

/// One line of the sheet: keys as they are written on them, and what they do.
struct ShortcutEntry
{
    QString group;
    QString keys;
    QString action;
};

/// All keys of the window on one sheet, by group. Interface thread.
class ShortcutSheet : public QDialog
{
    Q_OBJECT
public:
    explicit ShortcutSheet(const std::vector<ShortcutEntry>& entries, QWidget* parent = nullptr);
};

} // namespace vt
