// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDateTime>
#include <QHostAddress>
#include <QString>
#include <QStringList>
#include <map>
#include <set>

namespace vt {

/// Which cameras are on the network, from round to round of the search. Plain state.
class CameraPresence
{
public:
    struct Camera
    {
        QHostAddress address; ///< the last known one; null when another camera has it by now
        bool isOnline = false;
        QDateTime lastSeen;
    };
    enum class Change { None, New, Back, NewAddress };

    /// Before a search is started. managersComplete: how many searches of the round before have ended.
    void beginRound(bool isPreviousRunning, int managersComplete);
    /// A camera answered. Another one that had this address is offline from now on.
    Change track(const QString& mac, const QHostAddress& address, const QDateTime& now);
    /// The search has ended: cameras that did not answer are offline. Returns those that went offline by
    /// that.
    QStringList endRound();

    [[nodiscard]] const std::map<QString, Camera>& known() const { return m_known; }
    /// Null when it was never seen.
    [[nodiscard]] const Camera* find(const QString& mac) const;

private:
    std::map<QString, Camera> m_known;
    std::set<QString> m_seen;
};

} // namespace vt
