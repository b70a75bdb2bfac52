// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "acquisition/AcquisitionFrame.h"
#include "processing/StepRecord.h"
#include "session/SessionTypes.h"
#include "ui/PowerSpectrum.h"
#include "ui/RefreshTimer.h"
#include "ui/SampleClock.h"
#include "ui/SpectrogramColumns.h"
#include "ui/StatusText.h"
#include "ui/TraceHistory.h"
#include "ui/TraceMarkers.h"
#include "ui/TrendMath.h"

#include <QFrame>
#include <QStringList>
#include <vector>

class QComboBox;
class QLabel;
class QStackedWidget;

namespace vt {

class FeatureTable;
class FreezeBar;
class SleepChip;
class SpectrogramPlot;
class SpectrumPlot;
class StatisticPlot;
class TracePlot;

/// Where the view of one channel gets everything from.
struct ChannelSources
{
    TraceSource raw;
    TraceSource breathing;
    TraceSource activity;
    const StepHistory* steps = nullptr; ///< outlives the view
    int animalType = AnimalMouse;
    bool isActivityOnly = false; ///< sleep is not scored
};

/// All that is known of one channel: its signal and the two bands that scoring looks at, spectrum,
/// spectrogram, decision statistic and features. Drawn while it can be seen; frozen and scrolled as the live
/// traces are. Interface thread.
class SingleChannelView : public QFrame
{
    Q_OBJECT
public:
    explicit SingleChannelView(QWidget* parent = nullptr);

    /// Begins the display of a recording or, after a pause, of its next segment. The sources are called until
    /// clearSource.
    void start(const QStringList& animalIds, ChannelSources sources);
    /// Keeps the last picture; note says why, in a word or two.
    void clearSource(const QString& note);
    void setChannels(const std::vector<ChannelSummary>& channels, statustext::Scoring scoring);
    /// The history has a new step.
    void addStep();
    /// Draws a line at the present moment; label as in the marker file.
    void addMarker(int event, const QString& label);
    void setMarkerLabel(int event, const QString& label);

    /// Counted from 0.
    [[nodiscard]] int channel() const { return m_channel; }
    void setChannel(int channel);
    [[nodiscard]] bool isFrozen() const;
    [[nodiscard]] bool isRefreshing() const { return m_timer->isActive(); }
    /// Number of the sample behind the last one in the picture; 0 before there is one.
    [[nodiscard]] quint64 shownEnd() const { return m_shownEnd; }
    /// Copies and paints everything.
    void refresh();
    /// Ignored before there is something to freeze.
    Q_SLOT void setFrozen(bool frozen);

signals:
    void frozenChanged(bool frozen);
    void channelChanged(int channel);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    enum Trace { Raw, Breathing, Activity, TraceCount };
    struct RowLabel
    {
        QLabel* name = nullptr;
        QLabel* range = nullptr;
    };

    [[nodiscard]] QWidget* buildToolBar();
    [[nodiscard]] QWidget* buildTraces();
    [[nodiscard]] QWidget* buildCharts();
    [[nodiscard]] QWidget* buildEmptyState();
    [[nodiscard]] static QWidget* titled(const QString& title, QWidget* control, QWidget* chart);
    void connectParts();
    void fillChannels();
    void nameBands();
    void placeLabels();
    void tick();
    void holdTraces();
    void drawTraces();
    void drawSpectrum();
    /// Computes missing columns, at most so many; true when the picture changed.
    bool fillSpectrogram(int most);
    void drawSpectrogram();
    void drawSteps();
    void showFeatures();
    void showState();
    void showTime();
    void showMarkers();
    void updateExtent();
    void updateTimer();
    void readEnd(Trace trace, std::span<float> out);
    [[nodiscard]] TraceSource allTraces() const;
    [[nodiscard]] int heldTrace(Trace trace, int channel) const;
    [[nodiscard]] bool hasRecording() const { return !m_animalIds.isEmpty(); }
    [[nodiscard]] quint64 newestSample() const;
    /// Steps of the history up to the end of the picture.
    [[nodiscard]] std::size_t stepsShown() const;
    [[nodiscard]] bool continuesRecording(const QStringList& animalIds, quint64 count) const;

    QWidget* m_toolBar = nullptr;
    QComboBox* m_channelBox = nullptr;
    SleepChip* m_state = nullptr;
    QComboBox* m_timeBase = nullptr;
    QComboBox* m_spectrumOf = nullptr;
    QComboBox* m_statisticSpan = nullptr;
    QStackedWidget* m_stack = nullptr;
    QWidget* m_labelColumn = nullptr;
    std::array<RowLabel, TraceCount> m_labels;
    TracePlot* m_plot = nullptr;
    SpectrumPlot* m_spectrumPlot = nullptr;
    SpectrogramPlot* m_spectrogram = nullptr;
    StatisticPlot* m_statistic = nullptr;
    FeatureTable* m_features = nullptr;
    FreezeBar* m_bar = nullptr;
    RefreshTimer* m_timer = nullptr;

    QStringList m_animalIds;
    ChannelSources m_sources;
    bool m_hasSource = false;
    QString m_note;
    TraceHistory m_held; ///< while frozen or without a source
    SampleClock m_clock;
    TraceMarkers m_markers;
    StepRecord m_frozenStep; ///< the newest one at the moment of freezing
    PowerSpectrum m_power;
    SpectrogramColumns m_columns;
    std::vector<float> m_samples;
    Trend m_trend;
    std::vector<statustext::SleepDisplay> m_sleep;
    int m_channel = 0;
    int m_ticks = 0;
    bool m_stepsChanged = false;
    bool m_columnsChanged = false;
    quint64 m_shownEnd = 0;
};

} // namespace vt
