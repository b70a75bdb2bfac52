// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/StrivixProbe.h"

#include "acquisition/StrivixThread.h"
#include "daqmx/KeepAlive.h"

#include <QDebug>
#include <utility>

namespace vt {

namespace {

constexpr int FinishWaitMs = 1000;

} // namespace

struct StrivixProbe::Shared
{
    explicit Shared(TimeSource& time) : thread(time) {}

    StrivixThread thread;
};

StrivixProbe::StrivixProbe(TimeSource& time, const QString& portName, const Inbox& answers, Done done,
                           int tries)
    : m_shared(std::make_shared<Shared>(time)), m_wanted(std::make_shared<Wanted>())
{
    // The answer may be on its way when the probe is destroyed: it is delivered only while the probe exists,
    // which the receiver's thread can tell when that is the thread that destroys it. What is shared with the
    // probe's thread may exist for longer.
    const std::weak_ptr<Wanted> wanted = m_wanted;
    const auto answer = [address = answers.address(), wanted,
                         done = std::move(done)](const StrivixProbeResult& result) {
        address->post([wanted, done, result] {
            if (!wanted.expired())
                done(result);
        });
    };
    m_shared->thread.start([portName, answer, tries](StrivixDevice& device) {
        device.setTries(tries);
        QObject::connect(&device, &StrivixDevice::errorOccurred, &device, [answer](const QString& text) {
            answer({{}, text});
        });
        QObject::connect(&device, &StrivixDevice::identified, &device,
                         [answer, &device](const QString& identity) {
                             device.close();
                             answer({identity, {}});
                         });
        device.open(portName);
    });
}

StrivixProbe::~StrivixProbe()
{
    finish(FinishWaitMs);
}

void StrivixProbe::abandon()
{
    finish(0);
}

void StrivixProbe::finish(int waitMs)
{
    m_wanted.reset();
    const std::shared_ptr<Shared> shared = std::exchange(m_shared, nullptr);
    if (!shared || shared->thread.finish(waitMs))
        return;
    qCritical("StrivixProbe: the port does not return, thread abandoned");
    keepAliveForever(shared);
}

} // namespace vt
