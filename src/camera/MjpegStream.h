// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "base/TimeSource.h"

#include <QHostAddress>
#include <QImage>
#include <QObject>
#include <QString>
#include <QThread>
#include <memory>

namespace vt {

class MjpegWorker;

struct MjpegCamera
{
    QHostAddress address;
    QString user;
    QString password; ///< never part of a text
    int port = 80;
};

enum class MjpegState { Stopped, Connecting, Playing, Waiting };

/// Live pictures of one camera over HTTP, until stopped: when the stream ends or fails it is asked for again
/// after 1, 2, 4, 8, then every 15 s. Reading and decoding happen on a thread of its own; of several pictures
/// that are ready only the newest is handed out.
/// Lives on the interface thread. The destructor waits for the thread, which never blocks for long.
class MjpegStream : public QObject
{
    Q_OBJECT

public:
    explicit MjpegStream(TimeSource& time, QObject* parent = nullptr);
    ~MjpegStream() override;

    /// Also from another camera to this one.
    void start(const MjpegCamera& camera);
    void stop();
    [[nodiscard]] MjpegState state() const { return m_state; }

signals:
    void pictureReady(QImage picture);
    /// detail says in plain words what is wrong, and is empty when nothing is.
    void stateChanged(vt::MjpegState state, QString detail);

private:
    void setState(MjpegState state, const QString& detail);

    QThread m_thread;
    std::unique_ptr<Inbox> m_inbox; ///< the worker's answers
    std::unique_ptr<MjpegWorker> m_worker;
    MjpegState m_state = MjpegState::Stopped;
    QString m_detail;
    quint64 m_run = 0; ///< of start or stop; what an earlier one has left behind is dropped
};

} // namespace vt
