// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QHeaderView>
#include <QImage>
#include <QStyledItemDelegate>
#include <vector>

namespace vt {

class DayStrips;

/// Draws the strips of the last 24 hours into the cells of the sleep table, and tells what lies under the
/// mouse. strips outlives it. Interface thread.
class StripDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    explicit StripDelegate(const DayStrips& strips, QObject* parent = nullptr);

    /// Where a strip lies within its cell, and its scale within the section of the header.
    [[nodiscard]] static QRect stripRect(const QRect& cell);

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override;

private:
    struct Drawn
    {
        QImage image;
        QSize size;
        quint64 generation = 0;
        QRgb surface = 0;
    };
    const DayStrips& m_strips;
    mutable std::vector<Drawn> m_drawn; ///< by channel
};

/// The head of the sleep table: over the strips it carries the hours and the dark phases of the light cycle.
class StripHeader : public QHeaderView
{
    Q_OBJECT
public:
    explicit StripHeader(const DayStrips& strips, QWidget* parent = nullptr);

protected:
    void paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const override;

private:
    const DayStrips& m_strips;
};

/// Explains the patterns of the strips.
class StripLegend : public QWidget
{
    Q_OBJECT
public:
    explicit StripLegend(const DayStrips& strips, QWidget* parent = nullptr);

    /// The strips may have begun to show something else.
    void refresh();
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const DayStrips& m_strips;
};

} // namespace vt
