// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"
#include "ui/EmptyState.h"
#include "ui/RefreshTimer.h"
#include "ui/SampleClock.h"
#include "ui/StatusText.h"
#include "ui/TraceHistory.h"
#include "ui/TraceMarkers.h"
#include "ui/TraceOptions.h"
#include "ui/TrendMath.h"

#include <QFrame>
#include <QStringList>
#include <array>
#include <optional>
#include <vector>

class QStackedWidget;

namespace vt {

class ChannelHeader;
class FreezeBar;
class StepHistory;
class TracePlot;

/// The live signals of all channels, page by page, or their breath rates or powers over a longer time. Drawn
/// while it can be seen, signals 30 times a second, trends when there is a new step. The picture can be
/// frozen and moved back through the 18 minutes before (trends: through the whole history) while the
/// recording goes on. Without a source the last picture stays, and can be moved in the same way; before the
/// first one stands what to do. Interface thread.
class LiveTraces : public QFrame
{
    Q_OBJECT
public:
    static constexpr int ChannelsPerPage = TraceOptions::ChannelsPerPage;

    explicit LiveTraces(QWidget* parent = nullptr);

    /// Where breath rates, powers and sleep come from; outlives this widget. Set before start.
    void setHistory(const StepHistory* history);
    /// Begins the display of a recording or, after a pause, of its next segment. The source is called until
    /// clearSource. A picture that is frozen stays so across a pause.
    void start(const QStringList& animalIds, TraceSource source);
    /// Keeps the last picture; note says why, in a word or two.
    void clearSource(const QString& note);
    void setChannels(const std::vector<ChannelSummary>& channels, statustext::Scoring scoring);
    /// The history has a new step.
    void addStep();
    /// Draws a line at the present moment; label as in the marker file.
    void addMarker(int event, const QString& label);
    void setMarkerLabel(int event, const QString& label);
    [[nodiscard]] EmptyState* emptyState() const { return m_empty; }

    [[nodiscard]] int pageCount() const { return m_options->pageCount(); }
    [[nodiscard]] int page() const { return m_options->page(); }
    /// pageCount() is the page of all channels.
    void setPage(int page) { m_options->setPage(page); }
    [[nodiscard]] traceview::View view() const { return m_options->view(); }
    void setView(traceview::View view) { m_options->setView(view); }
    [[nodiscard]] int timeBaseSeconds() const { return m_options->timeBaseSeconds(); }
    void setTimeBase(int seconds) { m_options->setTimeBase(seconds); }
    [[nodiscard]] bool isRefreshing() const { return m_timer->isActive(); }
    [[nodiscard]] bool isFrozen() const;
    /// Number of the sample (or step) behind the last one in the picture; 0 before there is one.
    [[nodiscard]] quint64 shownEnd() const { return m_shownEnd; }
    /// Copies, reduces and paints the visible page.
    void refresh();
    /// Ignored before there is something to freeze.
    Q_SLOT void setFrozen(bool frozen);

signals:
    void frozenChanged(bool frozen);
    /// A channel is wanted alone; counted from 0.
    void channelActivated(int channel);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    using Scales = std::array<traceview::Scale, std::size(traceview::Views)>;

    void connectParts();
    void buildRows();
    void placeHeaders();
    void showStates();
    void applyScales();
    void changeView();
    void tick();
    void holdTraces();
    void refreshSignals();
    void refreshTrends(std::size_t mostSteps);
    void refreshTrend(int row, std::size_t begin, std::size_t end);
    void showTime();
    void showMarkers();
    void updateExtent();
    void updateTimer();
    [[nodiscard]] bool isSignal() const { return view() == traceview::View::Signal; }
    [[nodiscard]] int channelOf(int row) const { return m_options->firstChannel() + row; }
    [[nodiscard]] quint64 newestSample() const;
    [[nodiscard]] quint64 endStep() const;
    [[nodiscard]] qint64 timeOfStep(quint64 step) const;
    [[nodiscard]] bool continuesRecording(const QStringList& animalIds, quint64 count) const;

    TraceOptions* m_options;
    QStackedWidget* m_stack;
    EmptyState* m_empty;
    QWidget* m_headerColumn;
    TracePlot* m_plot;
    FreezeBar* m_bar;
    RefreshTimer* m_timer;
    std::vector<ChannelHeader*> m_headers;
    QStringList m_animalIds;
    QString m_note;
    TraceSource m_source;
    TraceHistory m_held; ///< while frozen or without a source
    const StepHistory* m_history = nullptr;
    SampleClock m_clock;
    std::vector<float> m_samples;
    Trend m_trend;
    TraceMarkers m_markers;
    std::vector<statustext::SleepDisplay> m_sleep;
    std::vector<Scales> m_ownScales; ///< of each channel
    int m_staleRows = 0;             ///< the last ones of the page's rows are still to be drawn
    quint64 m_shownEnd = 0;
    std::optional<qint64> m_trendEndMs; ///< time of the last step that a trend shows; empty: it shows none
    quint64 m_frozenStep = 0;           ///< number behind the last step at the moment of freezing
};

} // namespace vt
