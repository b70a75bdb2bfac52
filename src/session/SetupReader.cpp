// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/JsonNode.h"
#include "session/SetupFile.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSet>
#include <limits>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int largestInt = std::numeric_limits<int>::max();
constexpr int largestMask = 0xFFFF; // 16 channels
constexpr int secondsPerDay = 24 * 60 * 60;
constexpr double largestIntervalMin = 35791.0; // still fits a timer's milliseconds
constexpr int largestSegmentMinutes = 24 * 60;
constexpr int largestPicturePixels = 16384;
constexpr int mostChannels = 16;

QString text(const char* source)
{
    return QCoreApplication::translate("SetupFile", source);
}

quint8 registerValue(const JsonNode& node, int largest = 255)
{
    return static_cast<quint8>(node.wholeNumber(0, largest));
}

quint16 mask(const JsonNode& node)
{
    return static_cast<quint16>(node.wholeNumber(0, largestMask));
}

StimulationWindow readWindow(const JsonNode& node)
{
    static const std::array<QString, 7> names{u"monday"_s, u"tuesday"_s,  u"wednesday"_s, u"thursday"_s,
                                              u"friday"_s, u"saturday"_s, u"sunday"_s};
    StimulationWindow window;
    window.startTime = node.member(u"startTime"_s).time();
    window.endTime = node.member(u"endTime"_s).time();
    const JsonNode days = node.member(u"days"_s);
    for (std::size_t day = 0; day < names.size(); ++day)
        window.days[day] = days.member(names[day]).flag();
    return window;
}

std::vector<StimulationWindow> readSchedule(const JsonNode& settings)
{
    std::vector<StimulationWindow> schedule;
    for (const JsonNode& entry : settings.member(u"schedule"_s).elements())
        schedule.push_back(readWindow(entry));
    return schedule;
}

StimulationProtocol readProtocol(const JsonNode& node)
{
    static const QStringList names{u"SleepBased"_s, u"ActivityBased"_s, u"ManualTrigger"_s, u"OpenLoop"_s};
    const qsizetype index = names.indexOf(node.text());
    if (index < 0)
        node.fail(u"\"SleepBased\", \"ActivityBased\", \"ManualTrigger\" or \"OpenLoop\""_s);
    return index < 0 ? StimulationProtocol::ManualTrigger : static_cast<StimulationProtocol>(index);
}

CageSettings readCage(const JsonNode& node)
{
    CageSettings cage;
    cage.frequency = registerValue(node.member(u"frequency"_s));
    cage.amplitude = registerValue(node.member(u"amplitude"_s));
    cage.duration = registerValue(node.member(u"duration"_s));
    cage.waveShape = registerValue(node.member(u"waveShape"_s), 2);
    cage.randomFrequency = node.member(u"randomFrequency"_s).flag();
    cage.randomAmplitude = node.member(u"randomAmplitude"_s).flag();
    cage.randomDuration = node.member(u"randomDuration"_s).flag();
    return cage;
}

/// Nothing can be drawn from a range whose ends are the wrong way round.
void readBounds(const JsonNode& range, const QString& what, quint8& minimum, quint8& maximum)
{
    const JsonNode lower = range.member(what + u"Min"_s);
    const JsonNode upper = range.member(what + u"Max"_s);
    minimum = registerValue(lower);
    maximum = registerValue(upper);
    if (minimum > maximum)
        lower.fail(u"at most %1, which is %2"_s.arg(upper.path(), QString::number(maximum)));
}

VexioSettings readVexio(const JsonNode& node)
{
    VexioSettings vexio;
    vexio.enabled = node.member(u"enabled"_s).flag();
    vexio.protocol = readProtocol(node.member(u"protocol"_s));
    // A minimum above the maximum is allowed: the interval then stays as it is.
    vexio.minIntervalMs = node.member(u"minIntervalMs"_s).wholeNumber(0, largestInt);
    vexio.maxIntervalMs = node.member(u"maxIntervalMs"_s).wholeNumber(0, largestInt);
    vexio.randomInterval = node.member(u"randomInterval"_s).flag();
    vexio.sleepDurationSec = node.member(u"sleepDurationSec"_s).wholeNumber(0, secondsPerDay);
    vexio.activityThreshold = node.member(u"activityThreshold"_s).number();
    vexio.cageEnableMask = mask(node.member(u"cageEnableMask"_s));
    vexio.extTriggerMask = mask(node.member(u"extTriggerMask"_s));
    vexio.schedule = readSchedule(node);
    const JsonNode cages = node.member(u"cages"_s);
    const std::vector<JsonNode> eight = cages.elements();
    if (eight.size() != vexio.cages.size())
        cages.failWith(u"%1 must have %2 entries, not %3."_s.arg(
            cages.path(), QString::number(vexio.cages.size()), QString::number(eight.size())));
    for (std::size_t cage = 0; cage < std::min(eight.size(), vexio.cages.size()); ++cage)
        vexio.cages[cage] = readCage(eight[cage]);
    const JsonNode range = node.member(u"randomRange"_s);
    RandomRange& bounds = vexio.randomRange;
    readBounds(range, u"frequency"_s, bounds.frequencyMin, bounds.frequencyMax);
    readBounds(range, u"amplitude"_s, bounds.amplitudeMin, bounds.amplitudeMax);
    readBounds(range, u"duration"_s, bounds.durationMin, bounds.durationMax);
    return vexio;
}

DioSettings readDio(const JsonNode& node)
{
    DioSettings dio;
    dio.enabled = node.member(u"enabled"_s).flag();
    dio.openLoop = node.member(u"openLoop"_s).flag();
    dio.stimIntervalMin = node.member(u"stimIntervalMin"_s).number(0.0, largestIntervalMin);
    dio.sleepDurationSec = node.member(u"sleepDurationSec"_s).wholeNumber(0, secondsPerDay);
    dio.schedule = readSchedule(node);
    return dio;
}

CameraEntry readCamera(const JsonNode& node)
{
    static const QRegularExpression macPattern(u"^[0-9A-F]{2}(-[0-9A-F]{2}){5}$"_s);
    CameraEntry camera;
    const JsonNode mac = node.member(u"mac"_s);
    camera.mac = mac.text();
    if (!macPattern.match(camera.mac).hasMatch())
        mac.fail(u"a MAC address as \"00-1A-2B-3C-4D-5E\""_s);
    camera.channel = node.member(u"channel"_s).wholeNumber(0, mostChannels);
    camera.enabled = node.member(u"enabled"_s).flag();
    camera.width = node.member(u"width"_s).wholeNumber(0, largestPicturePixels);
    camera.height = node.member(u"height"_s).wholeNumber(0, largestPicturePixels);
    const JsonNode rotation = node.member(u"rotation"_s);
    camera.rotation = rotation.wholeNumber(0, 270);
    if (camera.rotation % 90 != 0)
        rotation.fail(u"0, 90, 180 or 270"_s);
    return camera;
}

VideoSettings readVideo(const JsonNode& node)
{
    VideoSettings video;
    video.segmentMinutes = node.member(u"segmentMinutes"_s).wholeNumber(1, largestSegmentMinutes);
    QSet<QString> macs;
    QSet<int> filmedChannels;
    for (const JsonNode& entry : node.member(u"cameras"_s).elements()) {
        const CameraEntry camera = readCamera(entry);
        if (macs.contains(camera.mac))
            entry.failWith(u"%1.mac: %2 is listed twice."_s.arg(entry.path(), camera.mac));
        macs.insert(camera.mac);
        // The files are named after the channel alone: one camera would write over the other's.
        const bool films = camera.enabled && camera.channel > 0;
        if (films && filmedChannels.contains(camera.channel))
            entry.failWith(u"%1.channel: channel %2 has another enabled camera."_s.arg(
                entry.path(), QString::number(camera.channel)));
        if (films)
            filmedChannels.insert(camera.channel);
        video.cameras.push_back(camera);
    }
    return video;
}

void readAnimals(const JsonNode& root, SetupFileContents& contents)
{
    const JsonNode ids = root.member(u"animalIds"_s);
    for (const JsonNode& id : ids.elements())
        contents.animalIds << id.text();
    if (contents.animalIds.size() != contents.channelCount)
        ids.failWith(text("animalIds must have one ID for each of %1 channel(s), not %2.")
                         .arg(contents.channelCount)
                         .arg(contents.animalIds.size()));
}

/// Everything but "vexio", which may be wrong by itself.
void readSections(const JsonNode& root, SetupFileContents& contents)
{
    if (root.has(u"animalIds"_s))
        readAnimals(root, contents);
    if (root.has(u"lightCycle"_s)) {
        const JsonNode cycle = root.member(u"lightCycle"_s);
        contents.lightOnset = cycle.member(u"lightOnset"_s).time();
        contents.darkOnset = cycle.member(u"darkOnset"_s).time();
    }
    if (root.has(u"envSensorLabels"_s)) {
        const JsonNode labels = root.member(u"envSensorLabels"_s);
        contents.envSensorLabels.emplace();
        for (const QString& serial : labels.keys())
            contents.envSensorLabels->insert(serial, labels.member(serial).text());
    }
    if (root.has(u"dio"_s))
        contents.dio = readDio(root.member(u"dio"_s));
    if (root.has(u"video"_s))
        contents.video = readVideo(root.member(u"video"_s));
}

} // namespace

std::variant<SetupFileContents, SetupFileError> parseSetup(const QByteArray& json, int deviceChannelCount)
{
    QJsonParseError parsing;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parsing);
    if (parsing.error != QJsonParseError::NoError)
        return SetupFileError{text("Not a valid config file: %1").arg(parsing.errorString())};
    SetupFileContents contents;
    contents.original = document.object();
    if (contents.original.value(u"payloadType"_s) != "vtconfig_v1"_L1)
        return SetupFileError{text("Not a Vellumtide config file (unexpected format).")};

    QString problem;
    const JsonNode root(contents.original, {}, problem);
    contents.channelCount = root.member(u"channelCount"_s).wholeNumber(0, largestInt);
    if (!problem.isEmpty())
        return SetupFileError{problem};
    if (contents.channelCount != deviceChannelCount)
        return SetupFileError{
            text("This config was saved for %1 channel(s); the selected DAQ has %2. Nothing "
                 "was applied.")
                .arg(contents.channelCount)
                .arg(deviceChannelCount),
            true};
    readSections(root, contents);
    if (!problem.isEmpty())
        return SetupFileError{problem};

    if (root.has(u"vexio"_s)) {
        QString vexioProblem;
        contents.vexio = readVexio({contents.original.value(u"vexio"_s), u"vexio"_s, vexioProblem});
        if (!vexioProblem.isEmpty()) {
            contents.vexio.reset();
            contents.vexioProblem = text("VEXIO config could not be applied: %1").arg(vexioProblem);
        }
    }
    return contents;
}

} // namespace vt
