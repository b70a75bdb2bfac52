// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/LiveTraces.h"

#include "ui/ChannelHeader.h"
#include "ui/Theme.h"
#include "ui/TracePlot.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QStackedWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace vt {

using statustext::SleepDisplay;

namespace {

constexpr int TimeBases[] = {4, 8, 16, 30};
constexpr int DefaultTimeBase = 8;
constexpr double ScalesVolts[] = {0.05, 0.1, 0.2, 0.5, 1.0, 2.0, 5.0};
constexpr int HeaderColumnWidth = 172;

} // namespace

LiveTraces::LiveTraces(QWidget* parent)
    : QFrame(parent), m_toolBar(new QHBoxLayout), m_note(new QLabel(this)), m_pages(new QButtonGroup(this)),
      m_pageButtons(new QHBoxLayout), m_timeBase(new QComboBox(this)), m_scale(new QComboBox(this)),
      m_stack(new QStackedWidget(this)), m_empty(new EmptyState(this)), m_headerColumn(new QWidget(this)),
      m_plot(new TracePlot(this))
{
    setKind(this, QStringLiteral("card"));
    setAccessibleName(tr("Live signals"));
    buildToolBar();

    auto* traces = new QWidget(m_stack);
    auto* row = new QHBoxLayout(traces);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    m_headerColumn->setFixedWidth(HeaderColumnWidth);
    row->addWidget(m_headerColumn);
    row->addWidget(m_plot, 1);
    m_stack->addWidget(m_empty);
    m_stack->addWidget(traces);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, spacing::Small, 1, spacing::Tiny);
    layout->setSpacing(spacing::Small);
    layout->addLayout(m_toolBar);
    layout->addWidget(m_stack, 1);

    m_timer.setInterval(RefreshIntervalMs);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &LiveTraces::refresh);
    connect(m_plot, &TracePlot::rowsLaidOut, this, &LiveTraces::placeHeaders);
    connect(m_plot, &TracePlot::rangeChanged, this, [this](int index, double rangeVolts) {
        if (index < static_cast<int>(m_headers.size())) // rows come before their headers
            m_headers[static_cast<std::size_t>(index)]->setRange(rangeVolts);
    });
    setTimeBase(DefaultTimeBase);
    buildPages();
}

void LiveTraces::buildToolBar()
{
    auto* title = new QLabel(tr("Live signals"), this);
    setTextRole(title, TextRole::Title);
    setTextRole(m_note, TextRole::Hint);
    m_note->setObjectName(QStringLiteral("tracesNote"));
    m_pageButtons->setSpacing(spacing::Tiny);
    m_pages->setExclusive(true);
    for (const int seconds : TimeBases)
        m_timeBase->addItem(tr("%1 s").arg(seconds), seconds);
    m_timeBase->setAccessibleName(tr("Time base"));
    m_timeBase->setToolTip(tr("How many seconds of signal are shown"));
    m_timeBase->setObjectName(QStringLiteral("timeBase"));
    m_scale->addItem(tr("Auto"), 0.0);
    for (const double volts : ScalesVolts)
        m_scale->addItem(ChannelHeader::rangeText(volts), volts);
    m_scale->setAccessibleName(tr("Scale"));
    m_scale->setToolTip(
        tr("Height of the traces; Auto: each trace finds its own. What is recorded stays the same."));
    m_scale->setObjectName(QStringLiteral("scale"));

    m_toolBar->setContentsMargins(spacing::Medium, 0, spacing::Medium, 0);
    m_toolBar->setSpacing(spacing::Small);
    m_toolBar->addStrut(m_timeBase->sizeHint().height() + spacing::Tiny); // with and without page buttons
    m_toolBar->addWidget(title);
    m_toolBar->addWidget(m_note);
    m_toolBar->addStretch();
    m_toolBar->addLayout(m_pageButtons);
    for (const auto& [caption, box] :
         {std::pair{tr("Scal&e"), m_scale}, std::pair{tr("T&ime base"), m_timeBase}}) {
        auto* label = new QLabel(caption, this);
        label->setBuddy(box);
        setTextRole(label, TextRole::Caption);
        m_toolBar->addSpacing(spacing::Small);
        m_toolBar->addWidget(label);
        m_toolBar->addWidget(box);
    }

    connect(m_pages, &QButtonGroup::idClicked, this, &LiveTraces::setPage);
    connect(m_timeBase, &QComboBox::currentIndexChanged, this, [this] {
        m_plot->setTimeBase(timeBaseSeconds());
        m_samples.assign(static_cast<std::size_t>(m_plot->samplesPerRow()), 0.0F);
        refresh();
    });
    connect(m_scale, &QComboBox::currentIndexChanged, this, [this] {
        m_plot->setFixedRange(m_scale->currentData().toDouble());
        refresh();
    });
    const auto turn = [this](int key, int by) {
        auto* shortcut = new QShortcut(QKeySequence(Qt::CTRL | key), this);
        connect(shortcut, &QShortcut::activated, this, [this, by] { setPage(m_page + by); });
    };
    turn(Qt::Key_PageUp, -1);
    turn(Qt::Key_PageDown, 1);
}

void LiveTraces::start(const QStringList& animalIds, TraceSource source)
{
    m_animalIds = animalIds;
    m_source = std::move(source);
    m_sleep.assign(static_cast<std::size_t>(animalIds.size()), SleepDisplay::Waiting);
    m_note->clear();
    m_page = 0;
    buildPages();
    buildRows();
    m_plot->clearSamples();
    m_stack->setCurrentIndex(1);
    updateTimer();
}

void LiveTraces::clearSource(const QString& note)
{
    m_source = nullptr;
    m_note->setText(note);
    updateTimer();
}

int LiveTraces::pageCount() const
{
    return std::max(1, (static_cast<int>(m_animalIds.size()) + ChannelsPerPage - 1) / ChannelsPerPage);
}

int LiveTraces::timeBaseSeconds() const
{
    return m_timeBase->currentData().toInt();
}

void LiveTraces::setTimeBase(int seconds)
{
    const int index = m_timeBase->findData(seconds);
    if (index >= 0)
        m_timeBase->setCurrentIndex(index);
}

void LiveTraces::buildPages()
{
    for (QAbstractButton* button : m_pages->buttons())
        delete button;
    if (pageCount() == 1)
        return;
    for (int page = 0; page < pageCount(); ++page) {
        const int first = page * ChannelsPerPage + 1;
        const int last = std::min(first + ChannelsPerPage - 1, static_cast<int>(m_animalIds.size()));
        auto* button = new QPushButton(tr("%1–%2").arg(first).arg(last), this);
        button->setCheckable(true);
        button->setChecked(page == m_page);
        button->setToolTip(tr("Show channels %1 to %2 (Ctrl+Page Up, Ctrl+Page Down)").arg(first).arg(last));
        button->setAccessibleName(tr("Channels %1 to %2").arg(first).arg(last));
        m_pages->addButton(button, page);
        m_pageButtons->addWidget(button);
    }
}

void LiveTraces::setPage(int page)
{
    page = std::clamp(page, 0, pageCount() - 1);
    if (page == m_page)
        return;
    m_page = page;
    if (QAbstractButton* button = m_pages->button(page))
        button->setChecked(true);
    buildRows();
    if (!m_source)
        m_plot->clearSamples(); // what is drawn belongs to the channels of the other page
    refresh();
}

void LiveTraces::buildRows()
{
    const int first = m_page * ChannelsPerPage;
    const int rows = std::min(ChannelsPerPage, static_cast<int>(m_animalIds.size()) - first);
    for (ChannelHeader* header : m_headers)
        delete header;
    m_headers.clear();
    m_plot->setRowCount(rows);
    for (int row = 0; row < rows; ++row) {
        auto* header = new ChannelHeader(m_headerColumn);
        const int channel = first + row;
        header->setChannel(channel + 1, m_animalIds[channel]);
        header->setRange(m_plot->rangeVolts(row));
        const SleepDisplay sleep = m_sleep[static_cast<std::size_t>(channel)];
        header->setSleep(sleep);
        m_plot->setNoSignal(row, sleep == SleepDisplay::NoSignal);
        m_headers.push_back(header);
        header->show();
    }
    placeHeaders();
}

void LiveTraces::placeHeaders()
{
    for (int row = 0; row < static_cast<int>(m_headers.size()) && row < m_plot->rowCount(); ++row) {
        const QRect rect = m_plot->rowRect(row);
        m_headers[static_cast<std::size_t>(row)]->setGeometry(0, rect.top(), HeaderColumnWidth,
                                                              rect.height());
    }
}

void LiveTraces::setChannels(const std::vector<ChannelSummary>& channels, statustext::Scoring scoring)
{
    const std::size_t count = std::min(channels.size(), m_sleep.size());
    for (std::size_t channel = 0; channel < count; ++channel) {
        m_sleep[channel] = statustext::sleepDisplay(channels[channel], scoring);
        const int row = static_cast<int>(channel) - m_page * ChannelsPerPage;
        if (row < 0 || row >= static_cast<int>(m_headers.size()))
            continue;
        m_headers[static_cast<std::size_t>(row)]->setSleep(m_sleep[channel]);
        m_plot->setNoSignal(row, m_sleep[channel] == SleepDisplay::NoSignal);
    }
}

void LiveTraces::refresh()
{
    if (m_source) {
        for (int row = 0; row < m_plot->rowCount(); ++row) {
            const quint64 number = m_source(m_page * ChannelsPerPage + row, m_samples);
            m_plot->setSamples(row, m_samples, number);
        }
    }
    m_plot->redraw();
}

void LiveTraces::updateTimer()
{
    const bool wanted = m_source && m_shown && !window()->isMinimized();
    if (wanted == m_timer.isActive())
        return;
    if (wanted)
        m_timer.start();
    else
        m_timer.stop();
}

void LiveTraces::watchWindow()
{
    window()->removeEventFilter(this);
    window()->installEventFilter(this);
}

void LiveTraces::showEvent(QShowEvent* event)
{
    QFrame::showEvent(event);
    m_shown = true;
    watchWindow();
    updateTimer();
}

void LiveTraces::hideEvent(QHideEvent* event)
{
    QFrame::hideEvent(event);
    m_shown = false;
    updateTimer();
}

bool LiveTraces::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == window() && event->type() == QEvent::WindowStateChange)
        updateTimer();
    return QFrame::eventFilter(watched, event);
}

} // namespace vt
