// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/CameraTroubles.h"

#include <algorithm>
#include <limits>

namespace vt {

namespace {

constexpr qint64 Never = std::numeric_limits<qint64>::max();

} // namespace

void CameraTroubles::begin()
{
    m_troubled.clear();
    m_toldAtMs.clear();
}

std::optional<CameraTroubles::News> CameraTroubles::fail(const QString& mac, const QString& what,
                                                         bool isCause, const QDateTime& now, qint64 nowMs)
{
    const bool isNew = !m_troubled.contains(mac);
    Trouble& trouble = m_troubled[mac];
    trouble.what = what;
    trouble.filmsSince = {};
    const bool isNewCause = isCause && !trouble.causes.contains(what);
    if (isCause)
        trouble.causes.insert(what);
    if (isNew)
        trouble.since = now;
    else if (!trouble.isTold || !isNewCause)
        return std::nullopt;
    const auto toldAt = m_toldAtMs.constFind(mac);
    if (isNew && toldAt != m_toldAtMs.constEnd() && nowMs - *toldAt < TellAgainMs)
        return News{News::Kind::TakeBack, mac, {}, {}, {}};
    return tell(mac, trouble, nowMs);
}

void CameraTroubles::setFilming(const QString& mac, bool isFilming, const QDateTime& now, qint64 nowMs)
{
    const auto trouble = m_troubled.find(mac);
    if (trouble == m_troubled.end() || trouble->filmsSince.isValid() == isFilming)
        return;
    trouble->filmsSince = isFilming ? now : QDateTime();
    trouble->filmsSinceMs = nowMs;
}

std::optional<CameraTroubles::News> CameraTroubles::forget(const QString& mac)
{
    if (!m_troubled.take(mac).isTold)
        return std::nullopt;
    return News{News::Kind::TakeBack, mac, {}, {}, {}};
}

std::vector<CameraTroubles::News> CameraTroubles::review(qint64 nowMs)
{
    std::vector<News> news;
    for (auto each = m_troubled.begin(); each != m_troubled.end();) {
        Trouble& trouble = each.value();
        if (dueMs(each.key(), trouble) > nowMs) {
            ++each;
        } else if (!trouble.filmsSince.isValid()) {
            news.push_back(tell(each.key(), trouble, nowMs));
            ++each;
        } else {
            if (trouble.isTold)
                news.push_back({News::Kind::FilmsAgain, each.key(), {}, trouble.since, trouble.filmsSince});
            each = m_troubled.erase(each);
        }
    }
    return news;
}

std::optional<qint64> CameraTroubles::nextReviewMs() const
{
    qint64 next = Never;
    for (auto each = m_troubled.begin(); each != m_troubled.end(); ++each)
        next = std::min(next, dueMs(each.key(), each.value()));
    return next == Never ? std::nullopt : std::optional(next);
}

qint64 CameraTroubles::dueMs(const QString& mac, const Trouble& trouble) const
{
    if (trouble.filmsSince.isValid())
        return trouble.filmsSinceMs + SteadyMs;
    return trouble.isTold ? Never : m_toldAtMs.value(mac) + TellAgainMs;
}

CameraTroubles::News CameraTroubles::tell(const QString& mac, Trouble& trouble, qint64 nowMs)
{
    trouble.isTold = true;
    m_toldAtMs.insert(mac, nowMs);
    return {News::Kind::DoesNotFilm, mac, trouble.what, trouble.since, {}};
}

} // namespace vt
