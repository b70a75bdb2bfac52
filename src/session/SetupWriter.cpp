// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/SetupFile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <algorithm>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

/// The order in which keys are written, wherever they stand; all others follow alphabetically.
const QStringList& keyOrder()
{
    static const QStringList order{
        u"payloadType"_s, u"appVersion"_s, u"savedAt"_s, u"channelCount"_s, u"animalIds"_s, u"lightCycle"_s,
        u"envSensorLabels"_s, u"vexio"_s, u"dio"_s, u"video"_s,
        // light cycle
        u"lightOnset"_s, u"darkOnset"_s,
        // cameras
        u"segmentMinutes"_s, u"cameras"_s, u"mac"_s, u"channel"_s,
        // cameras, outputs and stimulation unit
        u"enabled"_s, u"width"_s, u"height"_s, u"rotation"_s, u"openLoop"_s, u"stimIntervalMin"_s,
        u"protocol"_s, u"minIntervalMs"_s, u"maxIntervalMs"_s, u"randomInterval"_s, u"sleepDurationSec"_s,
        u"activityThreshold"_s, u"cageEnableMask"_s, u"extTriggerMask"_s, u"schedule"_s, u"cages"_s,
        u"randomRange"_s,
        // schedule entries
        u"startTime"_s, u"endTime"_s, u"days"_s, u"monday"_s, u"tuesday"_s, u"wednesday"_s, u"thursday"_s,
        u"friday"_s, u"saturday"_s, u"sunday"_s,
        // cages and the range of random values
        u"frequency"_s, u"amplitude"_s, u"duration"_s, u"waveShape"_s, u"randomFrequency"_s,
        u"randomAmplitude"_s, u"randomDuration"_s, u"frequencyMin"_s, u"frequencyMax"_s, u"amplitudeMin"_s,
        u"amplitudeMax"_s, u"durationMin"_s, u"durationMax"_s};
    return order;
}

QStringList orderedKeys(const QJsonObject& object)
{
    const auto rank = [](const QString& key) {
        const qsizetype index = keyOrder().indexOf(key);
        return index < 0 ? keyOrder().size() : index;
    };
    QStringList keys = object.keys(); // sorted alphabetically
    std::stable_sort(keys.begin(), keys.end(),
                     [&](const QString& left, const QString& right) { return rank(left) < rank(right); });
    return keys;
}

/// A text, number, truth value or null; the document's own writer knows how to escape it.
QByteArray scalarText(const QJsonValue& value)
{
    const QByteArray inBrackets = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return inBrackets.mid(1, inBrackets.size() - 2);
}

void write(QByteArray& out, const QJsonValue& value, int depth)
{
    const QByteArray indent = '\n' + QByteArray(qsizetype{4} * (depth + 1), ' ');
    const auto close = [&](char bracket, bool empty) {
        if (!empty)
            out += '\n' + QByteArray(qsizetype{4} * depth, ' ');
        out += bracket;
    };
    QByteArray separator;
    if (value.isObject()) {
        const QJsonObject object = value.toObject();
        out += '{';
        for (const QString& key : orderedKeys(object)) {
            out += separator + indent + scalarText(key) + ": ";
            write(out, object.value(key), depth + 1);
            separator = ",";
        }
        close('}', separator.isEmpty());
    } else if (value.isArray()) {
        const QJsonArray array = value.toArray();
        out += '[';
        for (const QJsonValue element : array) {
            out += separator + indent;
            write(out, element, depth + 1);
            separator = ",";
        }
        close(']', separator.isEmpty());
    } else {
        out += scalarText(value);
    }
}

QString timeText(QTime time)
{
    return time.toString(u"HH:mm:ss"_s);
}

QJsonArray scheduleArray(const std::vector<StimulationWindow>& schedule)
{
    QJsonArray array;
    for (const StimulationWindow& window : schedule)
        array.append(QJsonObject{{u"startTime"_s, timeText(window.startTime)},
                                 {u"endTime"_s, timeText(window.endTime)},
                                 {u"days"_s, QJsonObject{{u"monday"_s, window.days[0]},
                                                         {u"tuesday"_s, window.days[1]},
                                                         {u"wednesday"_s, window.days[2]},
                                                         {u"thursday"_s, window.days[3]},
                                                         {u"friday"_s, window.days[4]},
                                                         {u"saturday"_s, window.days[5]},
                                                         {u"sunday"_s, window.days[6]}}}});
    return array;
}

QString protocolName(StimulationProtocol protocol)
{
    switch (protocol) {
    case StimulationProtocol::SleepBased:
        return u"SleepBased"_s;
    case StimulationProtocol::ActivityBased:
        return u"ActivityBased"_s;
    case StimulationProtocol::ManualTrigger:
        return u"ManualTrigger"_s;
    case StimulationProtocol::OpenLoop:
        return u"OpenLoop"_s;
    }
    return {};
}

QJsonObject vexioObject(const VexioSettings& vexio)
{
    QJsonArray cages;
    for (const CageSettings& cage : vexio.cages)
        cages.append(QJsonObject{{u"frequency"_s, cage.frequency},
                                 {u"amplitude"_s, cage.amplitude},
                                 {u"duration"_s, cage.duration},
                                 {u"waveShape"_s, cage.waveShape},
                                 {u"randomFrequency"_s, cage.randomFrequency},
                                 {u"randomAmplitude"_s, cage.randomAmplitude},
                                 {u"randomDuration"_s, cage.randomDuration}});
    const RandomRange& range = vexio.randomRange;
    return {{u"enabled"_s, vexio.enabled},
            {u"protocol"_s, protocolName(vexio.protocol)},
            {u"minIntervalMs"_s, vexio.minIntervalMs},
            {u"maxIntervalMs"_s, vexio.maxIntervalMs},
            {u"randomInterval"_s, vexio.randomInterval},
            {u"sleepDurationSec"_s, vexio.sleepDurationSec},
            {u"activityThreshold"_s, vexio.activityThreshold},
            {u"cageEnableMask"_s, vexio.cageEnableMask},
            {u"extTriggerMask"_s, vexio.extTriggerMask},
            {u"schedule"_s, scheduleArray(vexio.schedule)},
            {u"cages"_s, cages},
            {u"randomRange"_s, QJsonObject{{u"frequencyMin"_s, range.frequencyMin},
                                           {u"frequencyMax"_s, range.frequencyMax},
                                           {u"amplitudeMin"_s, range.amplitudeMin},
                                           {u"amplitudeMax"_s, range.amplitudeMax},
                                           {u"durationMin"_s, range.durationMin},
                                           {u"durationMax"_s, range.durationMax}}}};
}

QJsonObject dioObject(const DioSettings& dio)
{
    return {{u"enabled"_s, dio.enabled},
            {u"openLoop"_s, dio.openLoop},
            {u"stimIntervalMin"_s, dio.stimIntervalMin},
            {u"sleepDurationSec"_s, dio.sleepDurationSec},
            {u"schedule"_s, scheduleArray(dio.schedule)}};
}

QJsonObject videoObject(const VideoSettings& video)
{
    QJsonArray cameras;
    for (const CameraEntry& camera : video.cameras)
        cameras.append(QJsonObject{{u"mac"_s, camera.mac},
                                   {u"channel"_s, camera.channel},
                                   {u"enabled"_s, camera.enabled},
                                   {u"width"_s, camera.width},
                                   {u"height"_s, camera.height},
                                   {u"rotation"_s, camera.rotation}});
    return {{u"segmentMinutes"_s, video.segmentMinutes}, {u"cameras"_s, cameras}};
}

/// What makes an entry of a list the same entry in another version of that list: a camera its address, a
/// schedule entry its times. A cage has neither; its place in the list tells.
bool isSameEntry(const QJsonObject& left, const QJsonObject& right)
{
    const auto agrees = [&](const QString& key) { return left.value(key) == right.value(key); };
    return agrees(u"mac"_s) && agrees(u"startTime"_s) && agrees(u"endTime"_s);
}

QJsonObject merged(QJsonObject old, const QJsonObject& current);

QJsonArray mergedList(const QJsonArray& old, const QJsonArray& current)
{
    QJsonArray result;
    QJsonArray unused = old;
    for (const QJsonValue entry : current) {
        const auto same = std::find_if(unused.begin(), unused.end(), [&](const QJsonValue& candidate) {
            return isSameEntry(candidate.toObject(), entry.toObject());
        });
        if (same == unused.end()) {
            result.append(entry);
            continue;
        }
        result.append(merged(same->toObject(), entry.toObject()));
        unused.erase(same);
    }
    return result;
}

/// The current values, and those members of the old object that nothing is known about.
QJsonObject merged(QJsonObject old, const QJsonObject& current)
{
    for (auto member = current.begin(); member != current.end(); ++member) {
        const QJsonValue before = old.value(member.key());
        if (member->isObject())
            old.insert(member.key(), merged(before.toObject(), member->toObject()));
        else if (member->isArray())
            old.insert(member.key(), mergedList(before.toArray(), member->toArray()));
        else
            old.insert(member.key(), *member);
    }
    return old;
}

/// Sets a section that the contents hold or that the file lacks.
void put(QJsonObject& root, const QString& key, bool held, const QJsonObject& section)
{
    if (held || !root.contains(key))
        root.insert(key, merged(root.value(key).toObject(), section));
}

} // namespace

QByteArray formatSetup(const SetupFileContents& contents, const QString& appVersion, const QDateTime& savedAt)
{
    QJsonObject root = contents.original;
    root.insert(u"payloadType"_s, u"vtconfig_v1"_s);
    root.insert(u"appVersion"_s, appVersion);
    root.insert(u"savedAt"_s, savedAt.toUTC().toString(Qt::ISODate));
    root.insert(u"channelCount"_s, contents.channelCount);
    root.insert(u"animalIds"_s, QJsonArray::fromStringList(contents.animalIds));
    const RecordingSetup defaults;
    const bool cycle = contents.lightOnset.isValid() && contents.darkOnset.isValid();
    put(root, u"lightCycle"_s, cycle,
        {{u"lightOnset"_s, timeText(cycle ? contents.lightOnset : defaults.lightOnset)},
         {u"darkOnset"_s, timeText(cycle ? contents.darkOnset : defaults.darkOnset)}});
    // Every key of the labels is a sensor's, so none is unknown: a label that was removed stays away.
    QJsonObject labels;
    if (contents.envSensorLabels)
        for (auto label = contents.envSensorLabels->begin(); label != contents.envSensorLabels->end();
             ++label)
            labels.insert(label.key(), label.value());
    if (contents.envSensorLabels || !root.contains(u"envSensorLabels"_s))
        root.insert(u"envSensorLabels"_s, labels);
    put(root, u"vexio"_s, contents.vexio.has_value(), vexioObject(contents.vexio.value_or(VexioSettings{})));
    put(root, u"dio"_s, contents.dio.has_value(), dioObject(contents.dio.value_or(DioSettings{})));
    put(root, u"video"_s, contents.video.has_value(), videoObject(contents.video.value_or(VideoSettings{})));

    QByteArray text;
    write(text, root, 0);
    return text + '\n';
}

} // namespace vt
