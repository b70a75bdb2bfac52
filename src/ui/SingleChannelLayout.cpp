// SPDX-License-Identifier: GPL-3.0-or-later
// How the view of one channel is put together.
#include "ui/FeatureTable.h"
#include "ui/FreezeBar.h"
#include "ui/SingleChannelView.h"
#include "ui/SleepChip.h"
#include "ui/SpectrogramPlot.h"
#include "ui/SpectrumPlot.h"
#include "ui/StatisticPlot.h"
#include "ui/Theme.h"
#include "ui/TracePlot.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace vt {

namespace {

constexpr int LabelColumnWidth = 124;
constexpr int TableWidth = 264;

QLabel* captionFor(const QString& text, QWidget* control, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    setTextRole(label, TextRole::Caption);
    label->setBuddy(control);
    return label;
}

} // namespace

SingleChannelView::SingleChannelView(QWidget* parent)
    : QFrame(parent), m_stack(new QStackedWidget(this)), m_bar(new FreezeBar(this)),
      m_timer(new RefreshTimer(this, [this] { tick(); }))
{
    setKind(this, QStringLiteral("card"));
    setAccessibleName(tr("Single channel"));
    m_toolBar = buildToolBar();
    m_toolBar->hide(); // there is nothing to choose yet
    auto* page = new QWidget(m_stack);
    auto* column = new QVBoxLayout(page);
    column->setContentsMargins(0, 0, 0, spacing::Tiny);
    column->setSpacing(spacing::Small);
    m_bar->setButtonColumnWidth(LabelColumnWidth);
    m_bar->setTextName(QStringLiteral("singleNote"));
    column->addWidget(buildTraces(), 4);
    column->addWidget(buildCharts(), 6);
    column->addWidget(m_bar);
    m_stack->addWidget(buildEmptyState());
    m_stack->addWidget(page);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, spacing::Small, 1, spacing::Tiny);
    layout->setSpacing(spacing::Small);
    layout->addWidget(m_toolBar);
    layout->addWidget(m_stack, 1);
    connectParts();
    nameBands();
}

QWidget* SingleChannelView::buildToolBar()
{
    auto* bar = new QWidget(this);
    auto* title = new QLabel(tr("Single channel"), bar);
    setTextRole(title, TextRole::Title);
    m_channelBox = new QComboBox(bar);
    m_channelBox->setObjectName(QStringLiteral("singleChannel"));
    m_channelBox->setAccessibleName(tr("Channel"));
    m_channelBox->setToolTip(tr("Which channel is shown (Up, Down)"));
    m_channelBox->setMinimumWidth(160);
    m_state = new SleepChip(bar);
    m_timeBase = new QComboBox(bar);
    m_timeBase->setObjectName(QStringLiteral("singleTimeBase"));
    m_timeBase->setAccessibleName(tr("Time base"));
    m_timeBase->setToolTip(tr("How many seconds of the traces are shown"));
    for (const int seconds : traceview::timeBases(traceview::View::Signal))
        m_timeBase->addItem(traceview::timeBaseText(seconds), seconds);
    m_timeBase->setCurrentIndex(m_timeBase->findData(traceview::defaultTimeBase(traceview::View::Signal)));

    auto* layout = new QHBoxLayout(bar);
    layout->setContentsMargins(spacing::Medium, 0, spacing::Medium, 0);
    layout->setSpacing(spacing::Small);
    layout->addWidget(title);
    layout->addSpacing(spacing::Small);
    layout->addWidget(m_channelBox);
    layout->addWidget(m_state, 0, Qt::AlignVCenter);
    layout->addStretch();
    layout->addWidget(captionFor(tr("T&ime base"), m_timeBase, bar));
    layout->addWidget(m_timeBase);
    return bar;
}

QWidget* SingleChannelView::buildTraces()
{
    auto* traces = new QWidget(this);
    m_labelColumn = new QWidget(traces);
    m_labelColumn->setFixedWidth(LabelColumnWidth);
    m_plot = new TracePlot(traces);
    m_plot->setRowCount(TraceCount);
    m_plot->setMinimumHeight(130);
    for (RowLabel& label : m_labels) {
        label.name = new QLabel(m_labelColumn);
        QFont bold = label.name->font();
        bold.setWeight(QFont::DemiBold);
        label.name->setFont(bold);
        label.range = new QLabel(m_labelColumn);
        setTextRole(label.range, TextRole::Caption);
        label.range->setToolTip(tr("Height of the trace area"));
    }
    auto* row = new QHBoxLayout(traces);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    row->addWidget(m_labelColumn);
    row->addWidget(m_plot, 1);
    return traces;
}

QWidget* SingleChannelView::titled(const QString& title, QWidget* control, QWidget* chart)
{
    auto* box = new QWidget;
    auto* label = new QLabel(title, box);
    setTextRole(label, TextRole::Title);
    auto* head = new QHBoxLayout;
    head->setSpacing(spacing::Small);
    head->addWidget(label, 1);
    if (control)
        head->addWidget(control);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing::Tiny);
    layout->addLayout(head);
    layout->addWidget(chart, 1);
    return box;
}

QWidget* SingleChannelView::buildCharts()
{
    auto* charts = new QWidget(this);
    m_spectrumOf = new QComboBox(charts);
    m_spectrumOf->setObjectName(QStringLiteral("spectrumOf"));
    m_spectrumOf->setAccessibleName(tr("Trace of the spectrum"));
    m_spectrumOf->setToolTip(tr("Which trace the spectrum is of"));
    m_spectrumOf->addItem(tr("Signal"), Raw);
    m_spectrumOf->addItem(tr("Br"), Breathing);
    m_statisticSpan = new QComboBox(charts);
    m_statisticSpan->setObjectName(QStringLiteral("statisticSpan"));
    m_statisticSpan->setAccessibleName(tr("Length of the decision statistic"));
    m_statisticSpan->setToolTip(tr("How much time the decision statistic shows"));
    for (const int seconds : traceview::timeBases(traceview::View::Power))
        m_statisticSpan->addItem(traceview::timeBaseText(seconds), seconds);
    m_spectrumPlot = new SpectrumPlot(charts);
    m_spectrogram = new SpectrogramPlot(charts);
    m_statistic = new StatisticPlot(charts);
    m_statistic->setSeconds(m_statisticSpan->currentData().toInt());
    m_features = new FeatureTable(charts);

    auto* table = titled(tr("Features"), nullptr, m_features);
    table->setFixedWidth(TableWidth);
    auto* grid = new QGridLayout(charts);
    grid->setContentsMargins(spacing::Medium, 0, spacing::Medium, 0);
    grid->setHorizontalSpacing(spacing::Large);
    grid->setVerticalSpacing(spacing::Small);
    grid->addWidget(titled(tr("Spectrum"), m_spectrumOf, m_spectrumPlot), 0, 0);
    grid->addWidget(titled(tr("Spectrogram"), nullptr, m_spectrogram), 0, 1);
    grid->addWidget(titled(tr("Decision statistic"), m_statisticSpan, m_statistic), 1, 0, 1, 2);
    grid->addWidget(table, 0, 2, 2, 1);
    grid->setColumnStretch(0, 2);
    grid->setColumnStretch(1, 3);
    grid->setRowStretch(0, 1);
    grid->setRowStretch(1, 1);
    return charts;
}

QWidget* SingleChannelView::buildEmptyState()
{
    auto* page = new QWidget(m_stack);
    auto* headline = new QLabel(tr("No recording yet."), page);
    setTextRole(headline, TextRole::Headline);
    auto* sentence =
        new QLabel(tr("Here one channel is shown with its spectrum, decision statistic and features while a "
                      "recording runs."),
                   page);
    sentence->setWordWrap(true);
    sentence->setAlignment(Qt::AlignHCenter);
    setEmphasis(sentence, Emphasis::Muted);
    auto* layout = new QVBoxLayout(page);
    layout->setSpacing(spacing::Small);
    layout->addStretch(2);
    layout->addWidget(headline, 0, Qt::AlignHCenter);
    layout->addWidget(sentence);
    layout->addStretch(3);
    return page;
}

void SingleChannelView::connectParts()
{
    connect(m_plot, &TracePlot::rowsLaidOut, this, &SingleChannelView::placeLabels);
    connect(m_plot, &TracePlot::rangeChanged, this, [this](int row, double range) {
        m_labels.at(static_cast<std::size_t>(row))
            .range->setText(traceview::rangeText(traceview::View::Signal, range));
    });
    connect(m_channelBox, &QComboBox::currentIndexChanged, this, &SingleChannelView::setChannel);
    connect(m_timeBase, &QComboBox::currentIndexChanged, this, [this] {
        m_plot->setTimeBase(m_timeBase->currentData().toInt());
        updateExtent();
        refresh();
    });
    connect(m_spectrumOf, &QComboBox::currentIndexChanged, this, &SingleChannelView::refresh);
    connect(m_statisticSpan, &QComboBox::currentIndexChanged, this, [this] {
        m_statistic->setSeconds(m_statisticSpan->currentData().toInt());
        refresh();
    });
    connect(m_bar, &FreezeBar::freezeRequested, this, &SingleChannelView::setFrozen);
    connect(m_bar, &FreezeBar::moved, this, &SingleChannelView::refresh);
    for (int row = 0; row < TraceCount; ++row)
        m_labels.at(static_cast<std::size_t>(row))
            .range->setText(traceview::rangeText(traceview::View::Signal, m_plot->range(row)));
}

void SingleChannelView::nameBands()
{
    const bool isRat = m_sources.animalType == AnimalRat;
    const QString names[] = {tr("Signal"), tr("Br"), tr("Act")};
    const QString tips[] = {
        tr("What the sensor gives, at 120 Hz, as it is recorded or, when that is chosen, band-passed"),
        isRat ? tr("Breathing band, 0.45 to 6 Hz") : tr("Breathing band, 0.5 to 9 Hz"),
        isRat ? tr("Activity band, 5 to 12 Hz") : tr("Activity band, 3 to 9 Hz")};
    for (std::size_t row = 0; row < m_labels.size(); ++row) {
        m_labels[row].name->setText(names[row]);
        m_labels[row].name->setToolTip(tips[row]);
    }
}

void SingleChannelView::placeLabels()
{
    for (int row = 0; row < TraceCount; ++row) {
        const RowLabel& label = m_labels.at(static_cast<std::size_t>(row));
        const QRect rect = m_plot->rowRect(row);
        const QSize name = label.name->sizeHint();
        const QSize range = label.range->sizeHint();
        const int width = LabelColumnWidth - spacing::Medium;
        const int top = rect.top() + (rect.height() - name.height() - range.height()) / 2;
        label.name->setGeometry(spacing::Medium, top, width, name.height());
        label.range->setGeometry(spacing::Medium, top + name.height(), width, range.height());
    }
}

} // namespace vt
