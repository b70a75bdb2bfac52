// SPDX-License-Identifier: GPL-3.0-or-later
#include "daqmx/DaqmxLibrary.h"

#include "daqmx/DaqmxFunctions.h"

#include <QDebug>
#include <QLibrary>
#include <QSysInfo>

namespace vt {

namespace {

/// Forwards each method to the C function of the same name. Stateless after loading, so as thread-safe as
/// the driver itself.
class LoadedDaqmx final : public DaqmxApi
{
public:
    explicit LoadedDaqmx(const DaqmxFunctions& functions) : m_c(functions) {}

    std::int32_t DAQmxCreateTask(const char* taskName, daqmx::TaskHandle* task) override
    {
        return m_c.DAQmxCreateTask(taskName, task);
    }
    std::int32_t DAQmxStartTask(daqmx::TaskHandle task) override { return m_c.DAQmxStartTask(task); }
    std::int32_t DAQmxStopTask(daqmx::TaskHandle task) override { return m_c.DAQmxStopTask(task); }
    std::int32_t DAQmxClearTask(daqmx::TaskHandle task) override { return m_c.DAQmxClearTask(task); }
    std::int32_t DAQmxIsTaskDone(daqmx::TaskHandle task, daqmx::Bool32* isTaskDone) override
    {
        return m_c.DAQmxIsTaskDone(task, isTaskDone);
    }
    std::int32_t DAQmxCreateAIVoltageChan(daqmx::TaskHandle task, const char* physicalChannel,
                                          const char* nameToAssignToChannel, std::int32_t terminalConfig,
                                          double minVal, double maxVal, std::int32_t units,
                                          const char* customScaleName) override
    {
        return m_c.DAQmxCreateAIVoltageChan(task, physicalChannel, nameToAssignToChannel, terminalConfig,
                                            minVal, maxVal, units, customScaleName);
    }
    std::int32_t DAQmxCfgSampClkTiming(daqmx::TaskHandle task, const char* source, double rate,
                                       std::int32_t activeEdge, std::int32_t sampleMode,
                                       std::uint64_t samplesPerChannel) override
    {
        return m_c.DAQmxCfgSampClkTiming(task, source, rate, activeEdge, sampleMode, samplesPerChannel);
    }
    std::int32_t DAQmxRegisterEveryNSamplesEvent(daqmx::TaskHandle task, std::int32_t eventType,
                                                 std::uint32_t sampleCount, std::uint32_t options,
                                                 daqmx::EveryNSamplesCallback callback,
                                                 void* callbackData) override
    {
        return m_c.DAQmxRegisterEveryNSamplesEvent(task, eventType, sampleCount, options, callback,
                                                   callbackData);
    }
    std::int32_t DAQmxReadAnalogF64(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                    double timeoutSeconds, daqmx::Bool32 fillMode, double* readArray,
                                    std::uint32_t arraySizeInSamples, std::int32_t* samplesPerChannelRead,
                                    daqmx::Bool32* reserved) override
    {
        return m_c.DAQmxReadAnalogF64(task, samplesPerChannel, timeoutSeconds, fillMode, readArray,
                                      arraySizeInSamples, samplesPerChannelRead, reserved);
    }
    std::int32_t DAQmxCreateDIChan(daqmx::TaskHandle task, const char* lines, const char* nameToAssignToLines,
                                   std::int32_t lineGrouping) override
    {
        return m_c.DAQmxCreateDIChan(task, lines, nameToAssignToLines, lineGrouping);
    }
    std::int32_t DAQmxCreateDOChan(daqmx::TaskHandle task, const char* lines, const char* nameToAssignToLines,
                                   std::int32_t lineGrouping) override
    {
        return m_c.DAQmxCreateDOChan(task, lines, nameToAssignToLines, lineGrouping);
    }
    std::int32_t DAQmxReadDigitalU32(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                     double timeoutSeconds, daqmx::Bool32 fillMode, std::uint32_t* readArray,
                                     std::uint32_t arraySizeInSamples, std::int32_t* samplesPerChannelRead,
                                     daqmx::Bool32* reserved) override
    {
        return m_c.DAQmxReadDigitalU32(task, samplesPerChannel, timeoutSeconds, fillMode, readArray,
                                       arraySizeInSamples, samplesPerChannelRead, reserved);
    }
    std::int32_t DAQmxReadDigitalLines(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                       double timeoutSeconds, daqmx::Bool32 fillMode, std::uint8_t* readArray,
                                       std::uint32_t arraySizeInBytes, std::int32_t* samplesPerChannelRead,
                                       std::int32_t* bytesPerSample, daqmx::Bool32* reserved) override
    {
        return m_c.DAQmxReadDigitalLines(task, samplesPerChannel, timeoutSeconds, fillMode, readArray,
                                         arraySizeInBytes, samplesPerChannelRead, bytesPerSample, reserved);
    }
    std::int32_t DAQmxWriteDigitalU32(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                      daqmx::Bool32 autoStart, double timeoutSeconds,
                                      daqmx::Bool32 dataLayout, const std::uint32_t* writeArray,
                                      std::int32_t* samplesPerChannelWritten,
                                      daqmx::Bool32* reserved) override
    {
        return m_c.DAQmxWriteDigitalU32(task, samplesPerChannel, autoStart, timeoutSeconds, dataLayout,
                                        writeArray, samplesPerChannelWritten, reserved);
    }
    std::int32_t DAQmxGetSysDevNames(char* data, std::uint32_t bufferSize) override
    {
        return m_c.DAQmxGetSysDevNames(data, bufferSize);
    }
    std::int32_t DAQmxGetDevProductType(const char* device, char* data, std::uint32_t bufferSize) override
    {
        return m_c.DAQmxGetDevProductType(device, data, bufferSize);
    }
    std::int32_t DAQmxGetDevSerialNum(const char* device, std::uint32_t* data) override
    {
        return m_c.DAQmxGetDevSerialNum(device, data);
    }
    std::int32_t DAQmxGetDevIsSimulated(const char* device, daqmx::Bool32* data) override
    {
        if (m_c.DAQmxGetDevIsSimulated)
            return m_c.DAQmxGetDevIsSimulated(device, data);
        *data = 0;
        return 0;
    }
    std::int32_t DAQmxGetDevAIPhysicalChans(const char* device, char* data, std::uint32_t bufferSize) override
    {
        if (m_c.DAQmxGetDevAIPhysicalChans)
            return m_c.DAQmxGetDevAIPhysicalChans(device, data, bufferSize);
        if (data && bufferSize > 0)
            data[0] = '\0';
        return 0;
    }
    std::int32_t DAQmxResetDevice(const char* device) override { return m_c.DAQmxResetDevice(device); }
    std::int32_t DAQmxGetErrorString(std::int32_t errorCode, char* errorString,
                                     std::uint32_t bufferSize) override
    {
        return m_c.DAQmxGetErrorString(errorCode, errorString, bufferSize);
    }
    std::int32_t DAQmxGetExtendedErrorInfo(char* errorString, std::uint32_t bufferSize) override
    {
        return m_c.DAQmxGetExtendedErrorInfo(errorString, bufferSize);
    }

private:
    const DaqmxFunctions m_c;
};

/// Fills the table from a loaded library. Returns the names of needed functions that it lacks.
QStringList resolveAll(QLibrary& library, DaqmxFunctions& functions)
{
    QStringList missing;
    QStringList missingOptional;
    const auto resolve = [&library](auto& slot, const char* name) {
        slot = reinterpret_cast<std::remove_reference_t<decltype(slot)>>(library.resolve(name));
        return slot != nullptr;
    };
#define VT_RESOLVE(name, ...)                                                                                \
    if (!resolve(functions.name, #name))                                                                     \
        missing << QStringLiteral(#name);
#define VT_RESOLVE_OPTIONAL(name, ...)                                                                       \
    if (!resolve(functions.name, #name))                                                                     \
        missingOptional << QStringLiteral(#name);
    VT_DAQMX_REQUIRED_FUNCTIONS(VT_RESOLVE)
    VT_DAQMX_OPTIONAL_FUNCTIONS(VT_RESOLVE_OPTIONAL)
#undef VT_RESOLVE
#undef VT_RESOLVE_OPTIONAL
    if (missing.isEmpty() && !missingOptional.isEmpty())
        qInfo().noquote() << "DaqmxLibrary: NI-DAQmx library without" << missingOptional.join(u", ")
                          << "- doing without";
    return missing;
}

enum class LoadFailure { None, NotLoadable, Incomplete };

std::unique_ptr<DaqmxApi> loadFile(const QString& file, LoadFailure& failure, QString& text)
{
    QLibrary library(file);
    library.setLoadHints(QLibrary::PreventUnloadHint);
    if (!library.load()) {
        failure = LoadFailure::NotLoadable;
        text = QStringLiteral("NI-DAQmx library %1 cannot be loaded: %2").arg(file, library.errorString());
        return nullptr;
    }
    DaqmxFunctions functions;
    const QStringList missing = resolveAll(library, functions);
    if (!missing.isEmpty()) {
        failure = LoadFailure::Incomplete;
        text = QStringLiteral("NI-DAQmx library %1 lacks the functions: %2").arg(file, missing.join(u", "));
        return nullptr;
    }
    failure = LoadFailure::None;
    qInfo().noquote() << "DaqmxLibrary: NI-DAQmx loaded from" << library.fileName();
    return std::make_unique<LoadedDaqmx>(functions);
}

} // namespace

QStringList DaqmxLibrary::defaultNames(const QString& kernelType)
{
    if (kernelType == u"winnt")
        return {QStringLiteral("nicaiu.dll")};
    return {QStringLiteral("libnidaqmx.so.1"), QStringLiteral("libnidaqmx.so")};
}

std::unique_ptr<DaqmxApi> DaqmxLibrary::load(const QString& explicitPathOrEmpty, QString* error)
{
    const bool isExplicit = !explicitPathOrEmpty.isEmpty();
    const QStringList names =
        isExplicit ? QStringList{explicitPathOrEmpty} : defaultNames(QSysInfo::kernelType());
    QString problem;
    for (const QString& name : names) {
        LoadFailure failure = LoadFailure::None;
        QString text;
        if (auto driver = loadFile(name, failure, text)) {
            if (error)
                error->clear();
            return driver;
        }
        if (isExplicit || failure == LoadFailure::Incomplete)
            problem = text;
    }
    if (problem.isEmpty())
        qInfo().noquote() << "DaqmxLibrary: no NI-DAQmx library on this machine, looked for"
                          << names.join(u", ");
    else
        qWarning().noquote() << "DaqmxLibrary:" << problem;
    if (error)
        *error = problem;
    return nullptr;
}

} // namespace vt
