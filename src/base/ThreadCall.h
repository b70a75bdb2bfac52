// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QThread>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace vt {

/// Runs call() on owner's thread and waits for its value: inline when the caller is on that thread,
/// otherwise by a queued invocation. Empty when timeoutMs passed first, or owner's thread does not run.
/// A call that timed out may still run later, so it must own what it touches (capture by value or
/// shared_ptr). Never call it from a thread that owner's thread may be waiting for.
template <typename Call>
[[nodiscard]] auto callOn(QObject* owner, int timeoutMs, Call call)
    -> std::optional<std::invoke_result_t<Call>>
{
    using Result = std::invoke_result_t<Call>;
    static_assert(!std::is_void_v<Result>, "return a value: a bool at least says that the call ran");
    if (QThread::currentThread() == owner->thread())
        return call();
    if (!owner->thread() || !owner->thread()->isRunning())
        return std::nullopt;
    auto promise = std::make_shared<std::promise<Result>>();
    std::future<Result> future = promise->get_future();
    QMetaObject::invokeMethod(
        owner, [promise, call = std::move(call)]() mutable { promise->set_value(call()); },
        Qt::QueuedConnection);
    if (future.wait_for(std::chrono::milliseconds(timeoutMs)) != std::future_status::ready)
        return std::nullopt;
    return future.get();
}

/// Runs work() on worker's thread and hands its value to done(value) on receiver's thread. Neither side
/// waits. done is dropped when receiver has been destroyed by then. Call from receiver's thread.
template <typename Work, typename Done>
void callAsync(QObject* worker, QObject* receiver, Work work, Done done)
{
    QMetaObject::invokeMethod(
        worker,
        [work = std::move(work), done = std::move(done), guard = QPointer<QObject>(receiver)]() mutable {
            auto value = std::make_shared<std::invoke_result_t<Work>>(work());
            if (QObject* target = guard.data())
                QMetaObject::invokeMethod(
                    target, [value, done = std::move(done)]() mutable { done(std::move(*value)); },
                    Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
}

} // namespace vt
