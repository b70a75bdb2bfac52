// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/MjpegStream.h"

#include "base/ThreadCall.h"
#include "camera/MjpegWorker.h"

#include <utility>

namespace vt {

MjpegStream::MjpegStream(TimeSource& time, QObject* parent)
    : QObject(parent), m_inbox(std::make_unique<Inbox>())
{
    const std::shared_ptr<Inbox::Address> answers = m_inbox->address();
    MjpegWorker::Callbacks callbacks;
    callbacks.pictureWaits = [this, answers](quint64 run) {
        answers->post([this, run] {
            const QImage picture = m_worker->takePicture();
            if (run == m_run && !picture.isNull())
                emit pictureReady(picture);
        });
    };
    callbacks.stateChanged = [this, answers](quint64 run, MjpegState state, const QString& detail) {
        answers->post([this, run, state, detail] {
            if (run == m_run)
                setState(state, detail);
        });
    };
    m_worker = std::make_unique<MjpegWorker>(time, std::move(callbacks));
    m_worker->moveToThread(&m_thread);
    m_thread.setObjectName(QStringLiteral("live picture"));
    m_thread.start(QThread::LowPriority);
}

MjpegStream::~MjpegStream()
{
    // The worker's sockets and timers go on the thread that they live on.
    m_worker->post([worker = m_worker.get()] {
        worker->close();
        worker->thread()->quit();
    });
    m_thread.wait();
    m_inbox.reset(); // what is still on its way is about a stream that is gone
}

void MjpegStream::start(const MjpegCamera& camera)
{
    const quint64 run = ++m_run;
    m_worker->post([worker = m_worker.get(), run, camera] { worker->open(run, camera); });
    setState(MjpegState::Connecting, {});
}

void MjpegStream::stop()
{
    ++m_run;
    m_worker->post([worker = m_worker.get()] { worker->close(); });
    setState(MjpegState::Stopped, {});
}

void MjpegStream::setState(MjpegState state, const QString& detail)
{
    if (state == m_state && detail == m_detail)
        return;
    m_state = state;
    m_detail = detail;
    emit stateChanged(state, detail);
}

} // namespace vt
