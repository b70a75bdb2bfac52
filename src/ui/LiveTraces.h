// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"
#include "ui/EmptyState.h"
#include "ui/StatusText.h"

#include <QFrame>
#include <QStringList>
#include <QTimer>
#include <functional>
#include <span>
#include <vector>

class QButtonGroup;
class QComboBox;
class QHBoxLayout;
class QLabel;
class QStackedWidget;

namespace vt {

class ChannelHeader;
class TracePlot;

/// Where traces come from: copies the newest out.size() values of a channel (counted from 0), oldest first,
/// and returns how many were ever pushed. Called on the interface thread; must not block.
using TraceSource = std::function<quint64(int channel, std::span<float> out)>;

/// The live signals, up to eight channels to a page, drawn 30 times a second while they can be seen. Without
/// a source the last picture stays; before the first one stands what to do. Interface thread.
class LiveTraces : public QFrame
{
    Q_OBJECT
public:
    static constexpr int ChannelsPerPage = 8;
    static constexpr int RefreshIntervalMs = 33;

    explicit LiveTraces(QWidget* parent = nullptr);

    /// Begins a recording's display. The source is called until clearSource.
    void start(const QStringList& animalIds, TraceSource source);
    /// Freezes the picture; note says why, in a word or two.
    void clearSource(const QString& note);
    void setChannels(const std::vector<ChannelSummary>& channels, statustext::Scoring scoring);
    [[nodiscard]] EmptyState* emptyState() const { return m_empty; }

    [[nodiscard]] int pageCount() const;
    [[nodiscard]] int page() const { return m_page; }
    [[nodiscard]] int timeBaseSeconds() const;
    [[nodiscard]] bool isRefreshing() const { return m_timer.isActive(); }
    void setPage(int page);
    /// 4, 8, 16 or 30 s.
    void setTimeBase(int seconds);
    /// Copies, reduces and paints the visible page.
    void refresh();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildToolBar();
    void buildPages();
    void buildRows();
    void placeHeaders();
    void updateTimer();
    void watchWindow();

    QHBoxLayout* m_toolBar;
    QLabel* m_note;
    QButtonGroup* m_pages;
    QHBoxLayout* m_pageButtons;
    QComboBox* m_timeBase;
    QComboBox* m_scale;
    QStackedWidget* m_stack;
    EmptyState* m_empty;
    QWidget* m_headerColumn;
    TracePlot* m_plot;
    std::vector<ChannelHeader*> m_headers;
    QStringList m_animalIds;
    TraceSource m_source;
    std::vector<float> m_samples;
    std::vector<statustext::SleepDisplay> m_sleep;
    QTimer m_timer;
    int m_page = 0;
    bool m_shown = false;
};

} // namespace vt
