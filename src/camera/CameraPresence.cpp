// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/CameraPresence.h"

#include <QDebug>

namespace vt {

void CameraPresence::beginRound(bool isPreviousRunning, int managersComplete)
{
    if (isPreviousRunning) {
        qDebug().noquote() << QStringLiteral("Previous scan still running (%1 complete) - "
                                             "not clearing seen cameras")
                                  .arg(managersComplete);
        return;
    }
    qDebug().noquote() << QStringLiteral("Clearing seen cameras (was %1)").arg(m_seen.size());
    m_seen.clear();
}

CameraPresence::Change CameraPresence::track(const QString& mac, const QHostAddress& address,
                                             const QDateTime& now)
{
    m_seen.insert(mac);
    qDebug().noquote() << "Tracking camera" << mac << "as seen (now have" << m_seen.size() << "cameras)";
    for (auto& [other, known] : m_known) {
        if (other == mac || known.address != address)
            continue;
        known.address.clear();
        known.isOnline = false;
    }
    const auto [entry, isNew] = m_known.try_emplace(mac);
    Camera& camera = entry->second;
    Change change = Change::None;
    if (isNew)
        change = Change::New;
    else if (camera.address != address)
        change = Change::NewAddress;
    else if (!camera.isOnline)
        change = Change::Back;
    camera = {address, true, now};
    return change;
}

QStringList CameraPresence::endRound()
{
    QStringList gone;
    for (auto& [mac, camera] : m_known) {
        if (m_seen.contains(mac) || !camera.isOnline)
            continue;
        qWarning().noquote() << "Camera" << mac << "not found in scan - marking offline";
        camera.isOnline = false;
        gone << mac;
    }
    return gone;
}

const CameraPresence::Camera* CameraPresence::find(const QString& mac) const
{
    const auto entry = m_known.find(mac);
    return entry == m_known.end() ? nullptr : &entry->second;
}

} // namespace vt
