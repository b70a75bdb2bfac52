// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/TraceOptions.h"

#include "ui/ElidedLabel.h"
#include "ui/RadioGroup.h"
#include "ui/Theme.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>

#include <algorithm>

namespace vt {

using traceview::Scale;
using traceview::ScaleRule;
using traceview::View;

TraceOptions::TraceOptions(QWidget* parent)
    : QWidget(parent), m_pages(new RadioGroup(this)), m_viewBox(new QComboBox(this)),
      m_timeBase(new QComboBox(this)), m_scale(new QComboBox(this))
{
    for (const View view : traceview::Views)
        m_keptTimeBases[static_cast<std::size_t>(view)] = traceview::defaultTimeBase(view);
    m_pages->setAccessibleName(tr("Page of channels"));
    m_pages->setObjectName(QStringLiteral("tracePages"));
    m_pages->hide();
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(spacing::Medium, 0, spacing::Medium, 0);
    layout->setSpacing(spacing::Small);
    layout->addStrut(m_timeBase->sizeHint().height() + spacing::Tiny); // with and without page buttons
    auto* title = new ElidedLabel(this, Qt::ElideRight);               // gives way first in a narrow window
    title->setText(tr("Live signals"));
    setTextRole(title, TextRole::Title);
    layout->addWidget(title, 1);
    layout->addWidget(m_pages);
    buildBoxes();
    for (const auto& [caption, box] : {std::pair{tr("Sho&w"), m_viewBox}, std::pair{tr("Scal&e"), m_scale},
                                       std::pair{tr("T&ime base"), m_timeBase}}) {
        auto* label = new QLabel(caption, this);
        label->setBuddy(box);
        setTextRole(label, TextRole::Caption);
        layout->addSpacing(spacing::Small);
        layout->addWidget(label);
        layout->addWidget(box);
    }
    fillBoxes();
    connect(m_pages, &RadioGroup::valueChanged, this, &TraceOptions::setPage);
}

void TraceOptions::buildBoxes()
{
    for (const View view : traceview::Views)
        m_viewBox->addItem(traceview::name(view), static_cast<int>(view));
    m_viewBox->setAccessibleName(tr("What is shown of each channel"));
    m_viewBox->setToolTip(tr("Signal of the sensor, or breath rate or power over a longer time"));
    m_viewBox->setObjectName(QStringLiteral("traceView"));
    m_timeBase->setAccessibleName(tr("Time base"));
    m_timeBase->setToolTip(tr("How much time is shown"));
    m_timeBase->setObjectName(QStringLiteral("timeBase"));
    m_scale->setAccessibleName(tr("Scale"));
    m_scale->setToolTip(tr("Height of the traces. Auto: each trace finds its own. Auto, common: all have the "
                           "same. A channel gets a scale of its own with a click on the range beside its "
                           "trace. What is recorded stays the same."));
    m_scale->setObjectName(QStringLiteral("scale"));
    for (QComboBox* box : {m_viewBox, m_timeBase, m_scale})
        box->setSizeAdjustPolicy(QComboBox::AdjustToContents);

    connect(m_viewBox, &QComboBox::currentIndexChanged, this,
            [this] { setView(static_cast<View>(m_viewBox->currentData().toInt())); });
    connect(m_timeBase, &QComboBox::currentIndexChanged, this, [this] {
        m_keptTimeBases[static_cast<std::size_t>(m_view)] = timeBaseSeconds();
        emit timeBaseChanged();
    });
    connect(m_scale, &QComboBox::currentIndexChanged, this, [this] {
        m_keptScales[static_cast<std::size_t>(m_view)] = scale();
        emit scaleChanged();
    });
}

void TraceOptions::fillBoxes()
{
    const QSignalBlocker quietTimeBase(m_timeBase);
    const QSignalBlocker quietScale(m_scale);
    m_timeBase->clear();
    for (const int seconds : traceview::timeBases(m_view))
        m_timeBase->addItem(traceview::timeBaseText(seconds), seconds);
    m_timeBase->setCurrentIndex(m_timeBase->findData(m_keptTimeBases[static_cast<std::size_t>(m_view)]));
    m_scales = {{ScaleRule::Auto, 0.0}, {ScaleRule::AutoCommon, 0.0}};
    for (const double range : traceview::ranges(m_view))
        m_scales.push_back({ScaleRule::Fixed, range});
    m_scale->clear();
    for (const Scale& scale : m_scales)
        m_scale->addItem(traceview::scaleText(m_view, scale));
    const auto kept = std::ranges::find(m_scales, m_keptScales[static_cast<std::size_t>(m_view)]);
    m_scale->setCurrentIndex(kept == m_scales.end() ? 0 : static_cast<int>(kept - m_scales.begin()));
}

void TraceOptions::setView(View view)
{
    if (view == m_view)
        return;
    m_view = view;
    const QSignalBlocker quiet(m_viewBox);
    m_viewBox->setCurrentIndex(m_viewBox->findData(static_cast<int>(view)));
    fillBoxes();
    emit viewChanged();
}

int TraceOptions::timeBaseSeconds() const
{
    return m_timeBase->currentData().toInt();
}

void TraceOptions::setTimeBase(int seconds)
{
    const int index = m_timeBase->findData(seconds);
    if (index >= 0)
        m_timeBase->setCurrentIndex(index);
}

Scale TraceOptions::scale() const
{
    return m_scales.at(static_cast<std::size_t>(std::max(m_scale->currentIndex(), 0)));
}

void TraceOptions::setChannelCount(int channels)
{
    m_channels = channels;
    m_page = 0;
    offerPages();
}

int TraceOptions::pageCount() const
{
    return std::max(1, (m_channels + ChannelsPerPage - 1) / ChannelsPerPage);
}

int TraceOptions::firstChannel() const
{
    return m_page == pageCount() ? 0 : m_page * ChannelsPerPage;
}

int TraceOptions::channelsShown() const
{
    return m_page == pageCount() ? m_channels : std::min(ChannelsPerPage, m_channels - firstChannel());
}

void TraceOptions::setPage(int page)
{
    page = std::clamp(page, 0, pageCount() > 1 ? pageCount() : 0);
    if (page == m_page)
        return;
    m_page = page;
    m_pages->setValue(page);
    emit pageChanged();
}

void TraceOptions::offerPages()
{
    m_pages->clear();
    m_pages->setVisible(pageCount() > 1);
    if (pageCount() == 1)
        return;
    const QSignalBlocker quiet(m_pages);
    const auto add = [this](int page, const QString& text, const QString& name) {
        m_pages->addChoice(page, text, tr("Show %1 (Ctrl+Page Up, Ctrl+Page Down)").arg(name))
            ->setAccessibleName(name);
    };
    for (int page = 0; page < pageCount(); ++page) {
        const int first = page * ChannelsPerPage + 1;
        const int last = std::min(first + ChannelsPerPage - 1, m_channels);
        add(page, tr("%1–%2").arg(first).arg(last), tr("channels %1 to %2").arg(first).arg(last));
    }
    add(pageCount(), tr("All"), tr("all channels"));
    m_pages->setValue(m_page);
}

} // namespace vt
