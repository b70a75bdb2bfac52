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

void ignoreSignal(int) {}

void install(int number, void (*handler)(int))
{
    struct sigaction action
    {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

bool isIgnored(int number)
{
    struct sigaction current
    {};
    return sigaction(number, nullptr, &current) == 0 && current.sa_handler == SIG_IGN;
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
    install(SIGINT, handleSignal);
    install(SIGTERM, handleSignal);
    if (!isIgnored(SIGHUP)) // as under nohup
        install(SIGHUP, handleSignal);
    // A handler instead of SIG_IGN, which child processes would inherit.
    install(SIGPIPE, ignoreSignal);
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

void TerminationSignals::leaveTerminal() {}

} // namespace vt
