// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFrame>

class QHBoxLayout;
class QLabel;
class QVBoxLayout;

namespace vt {

/// A titled section with a border: the building block of the side column.
class Card : public QFrame
{
    Q_OBJECT
public:
    explicit Card(const QString& title, QWidget* parent = nullptr);

    /// Goes to the right end of the title line.
    void addHeaderWidget(QWidget* widget);
    /// Below the title line.
    [[nodiscard]] QVBoxLayout* body() const { return m_body; }

private:
    QHBoxLayout* m_header;
    QVBoxLayout* m_body;
};

} // namespace vt
