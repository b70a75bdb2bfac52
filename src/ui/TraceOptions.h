// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/TraceViews.h"

#include <QWidget>
#include <array>

class QComboBox;

namespace vt {

class RadioGroup;

/// Above the live traces: what a page shows, which channels, how high and how long. Each view keeps its own
/// scale and time base. Interface thread.
class TraceOptions : public QWidget
{
    Q_OBJECT
public:
    static constexpr int ChannelsPerPage = 8;

    explicit TraceOptions(QWidget* parent = nullptr);

    /// Pages of eight and, with more channels than that, one of all; begins with the first page.
    void setChannelCount(int channels);
    /// Pages of eight channels.
    [[nodiscard]] int pageCount() const;
    /// pageCount() is the page of all channels.
    [[nodiscard]] int page() const { return m_page; }
    void setPage(int page);
    /// Channels of the page, counted from 0.
    [[nodiscard]] int firstChannel() const;
    [[nodiscard]] int channelsShown() const;

    [[nodiscard]] traceview::View view() const { return m_view; }
    void setView(traceview::View view);
    [[nodiscard]] int timeBaseSeconds() const;
    void setTimeBase(int seconds);
    [[nodiscard]] traceview::Scale scale() const;

signals:
    void pageChanged();
    void viewChanged();
    void timeBaseChanged();
    void scaleChanged();

private:
    void buildBoxes();
    void fillBoxes();
    void offerPages();

    RadioGroup* m_pages;
    QComboBox* m_viewBox;
    QComboBox* m_timeBase;
    QComboBox* m_scale;
    std::vector<traceview::Scale> m_scales;
    std::array<int, std::size(traceview::Views)> m_keptTimeBases{};
    std::array<traceview::Scale, std::size(traceview::Views)> m_keptScales{};
    traceview::View m_view = traceview::View::Signal;
    int m_channels = 0;
    int m_page = 0;
};

} // namespace vt
