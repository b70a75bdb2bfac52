// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/TerminationSignals.h"

#include <QDebug>
#include <QSocketNotifier>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>

namespace vt {

namespace {

std::atomic<int> wakeDescriptor{-1};

// Only async-signal-safe calls: the eventfd is what wakes the event loop.
void handleSignal(int)
{
    const int savedErrno = errno;
    const std::uint64_t one = 1;
    if (const int descriptor = wakeDescriptor.load(); descriptor >= 0) [[maybe_unused]]
        const auto written = write(descriptor, &one, sizeof one);
    errno = savedErrno;
}

} // namespace

struct TerminationSignals::Private
{
    int descriptor = -1;
    std::unique_ptr<QSocketNotifier> notifier;
};

TerminationSignals::TerminationSignals(QObject* parent) : QObject(parent), d(std::make_unique<Private>())
{
    d->descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (d->descriptor < 0) {
        qWarning("TerminationSignals: eventfd failed, error: %d", errno);
        return;
    }
    wakeDescriptor = d->descriptor;
    d->notifier = std::make_unique<QSocketNotifier>(d->descriptor, QSocketNotifier::Read);
    connect(d->notifier.get(), &QSocketNotifier::activated, this, [this] {
        std::uint64_t count = 0;
        if (read(d->descriptor, &count, sizeof count) == static_cast<ssize_t>(sizeof count))
            emit requested();
    });
    struct sigaction action
    {};
    action.sa_handler = handleSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

TerminationSignals::~TerminationSignals()
{
    if (d->descriptor < 0)
        return;
    // The handler stays: a second Ctrl-C while the program is already on its way out must not kill it there.
    wakeDescriptor = -1;
    d->notifier.reset();
    close(d->descriptor);
}

} // namespace vt
