// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"

#include <QThread>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace vt {

/// Runs call() on the thread that owner lives on and waits for its value: inline when the caller is on that
/// thread. Empty when timeoutMs passed first, or that thread does not run.
/// A call that timed out may still run later, so it must own what it touches (capture by value or
/// shared_ptr). Never call it from a thread that owner's thread may be waiting for.
template <typename Call>
[[nodiscard]] auto callOn(Inbox& owner, int timeoutMs, Call call) -> std::optional<std::invoke_result_t<Call>>
{
    using Result = std::invoke_result_t<Call>;
    static_assert(!std::is_void_v<Result>, "return a value: a bool at least says that the call ran");
    if (QThread::currentThread() == owner.thread())
        return call();
    if (!owner.thread() || !owner.thread()->isRunning())
        return std::nullopt;
    auto promise = std::make_shared<std::promise<Result>>();
    std::future<Result> future = promise->get_future();
    owner.post([promise, call = std::move(call)]() mutable { promise->set_value(call()); });
    if (future.wait_for(std::chrono::milliseconds(timeoutMs)) != std::future_status::ready)
        return std::nullopt;
    return future.get();
}

/// Runs work() on worker's thread and hands its value to done(value) on receiver's thread. Neither side
/// waits. done is dropped when receiver has been destroyed by then.
template <typename Work, typename Done>
void callAsync(Inbox& worker, const Inbox& receiver, Work work, Done done)
{
    worker.post([work = std::move(work), done = std::move(done), answers = receiver.address()]() mutable {
        auto value = std::make_shared<std::invoke_result_t<Work>>(work());
        answers->post([value, done = std::move(done)]() mutable { done(std::move(*value)); });
    });
}

} // namespace vt
