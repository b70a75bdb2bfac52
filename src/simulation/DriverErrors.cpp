// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/DriverErrors.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace vt::drivererror {

namespace {

struct Entry
{
    std::int32_t code;
    const char* text;
};

constexpr std::array<Entry, 25> Texts{{
    {ResourceReserved, "The channel or line is in use by another running task."},
    {DeviceGone, "The device is no longer present in the system."},
    {TaskAborted, "The task was aborted, for instance by a reset of its device."},
    {InvalidAttributeValue, "A requested value is not supported by the device."},
    {SampleRateTooHigh, "The sample rate does not suit the device and the number of channels."},
    {InvalidTask, "The task is invalid or does not exist."},
    {NoSuchPhysicalChannel, "The physical channel does not exist on this device."},
    {InvalidDevice, "There is no device of this name."},
    {TextBufferTooSmall, "The buffer is too small for the text."},
    {ReadBufferTooSmall, "The buffer is too small for the requested samples."},
    {SamplesOverwritten, "Samples were overwritten before they had been read."},
    {SamplesNotYetAvailable, "Some or all requested samples did not arrive within the timeout."},
    {TaskNotRunning, "The operation needs a running task."},
    {NoChannels, "The task has no channels."},
    {TaskRunning, "The operation is not allowed while the task runs."},
    {ChannelAlreadyInTask, "The task already has channels."},
    {ChannelSyntax, "The list of channels or lines cannot be understood."},
    {ReadChannelType, "This read does not fit the kind of channels in the task."},
    {WriteChannelType, "This write does not fit the kind of channels in the task."},
    {NullPointer, "A required pointer is null."},
    {WriteWithoutStart, "The task is not running and the write does not start it."},
    {EventNeedsBuffer, "The event needs a task with a sample clock."},
    {EventAlreadyRegistered, "A callback is already registered for this event."},
    {EventWhileRunning, "Events cannot be registered while the task runs."},
    {ReadBeforeStart, "A task with a registered event must be started before it is read."},
}};

} // namespace

std::string text(std::int32_t code)
{
    if (code == 0)
        return {};
    for (const Entry& entry : Texts)
        if (entry.code == code)
            return entry.text;
    return code < 0 ? "The device reported an error." : "The device reported a warning.";
}

std::int32_t copyText(std::string_view text, char* buffer, std::uint32_t bufferSize)
{
    if (!buffer || bufferSize == 0)
        return static_cast<std::int32_t>(text.size()) + 1;
    const std::size_t copied = std::min<std::size_t>(text.size(), bufferSize - 1);
    std::memcpy(buffer, text.data(), copied);
    buffer[copied] = '\0';
    return copied == text.size() ? 0 : TextBufferTooSmall;
}

} // namespace vt::drivererror
