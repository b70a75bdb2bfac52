// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/CommandLine.h"

#include "acquisition/AcquisitionFrame.h"
#include "recording/FileHeader.h"

#include <QCommandLineParser>
#include <cmath>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

// "--simulate" takes its file optionally, which the parser's options cannot: the file stays a positional
// argument, and "--simulate=file" is split into the two.
QStringList splitSimulate(const QStringList& arguments)
{
    QStringList split{u"vellumtide"_s};
    for (const QString& argument : arguments) {
        const QString prefix = u"--simulate="_s;
        if (argument.startsWith(prefix))
            split << u"--simulate"_s << argument.mid(prefix.size());
        else
            split << argument;
    }
    return split;
}

void addOptions(QCommandLineParser& parser)
{
    parser.setApplicationDescription(
        u"Records piezoelectric cage-floor signals and scores sleep and wake, live, for days.\n"
        "Without --headless a window opens."_s);
    parser.addOptions({
        {u"simulate"_s,
         u"Offer the simulated unit too, and two simulated environmental sensors (not on Windows); with a "
         "FILE after it, play that file: raw little-endian 64-bit doubles in volts, 600 Hz, channels "
         "interleaved."_s},
        {u"simulate-speed"_s,
         u"Run the simulated unit X times as fast as real time, as far as the recording "
         "keeps up."_s,
         u"X"_s},
        {u"simulate-seed"_s, u"Seed of the simulated animals (default 1)."_s, u"N"_s},
        {u"simulate-faults"_s, u"Take fault commands for the simulated unit from this file as it grows."_s,
         u"FILE"_s},
        {u"headless"_s, u"No window: record at once, print progress to standard error; Ctrl-C stops."_s},
        {u"device"_s,
         u"NI-DAQmx device name; \"sim\" or \"sim16\", simulated units with 8 and 16 channels; "
         "\"strivix:PORT\", the serial amplifier at a port; or \"strivix:sim\", a simulated one."_s,
         u"NAME"_s},
        {u"channels"_s, u"Channels to record, 1 to 16 (default: all that the device offers)."_s, u"N"_s},
        {u"animal"_s, u"\"mouse\" or \"rat\", for the simulated unit and the serial amplifier."_s, u"KIND"_s},
        {u"animal-id"_s, u"Animal ID of the next channel; give it once per channel."_s, u"ID"_s},
        {u"output"_s, u"Base path of the recording's files."_s, u"BASE"_s},
        {u"setup"_s,
         u"Apply this setup file (.vtconfig), cameras and labels of sensors included. What other options "
         "say, such as animal IDs, goes before what the file says."_s,
         u"FILE"_s},
        {u"duration"_s, u"Stop by itself after this many seconds of acquired signal."_s, u"SECONDS"_s},
        {u"activity-only"_s, u"Record raw data and activity only; no sleep decisions."_s},
        {u"bandpass"_s, u"Show band-passed signals (the recording is not changed by it)."_s},
        {u"extra-serial-port"_s,
         u"Look for an environmental sensor at this serial port, too; once per port. PORT is \"path=...; "
         "vid=2405; pid=000B; serial=...; description=Tessaly Enviro\", for ports whose USB device the "
         "system "
         "does not name."_s,
         u"PORT"_s},
        {u"nidaqmx-library"_s, u"Load this NI-DAQmx library instead of the default one."_s, u"PATH"_s},
        {u"list-devices"_s,
         u"Print what can be recorded from, one a line, tab-separated: name, type, serial, "
         "simulated (yes or no)."_s},
        {u"clear-settings"_s, u"Forget all stored settings first, then start as usual."_s},
        {{u"h"_s, u"help"_s}, u"Show this text."_s},
        {{u"v"_s, u"version"_s}, u"Show the program's version."_s},
    });
}

class Reader
{
public:
    Reader(const QCommandLineParser& parser, CommandLine& line) : m_parser(parser), m_line(line) {}

    void fail(const QString& message)
    {
        if (m_line.action == CommandLine::Action::Invalid)
            return;
        m_line.action = CommandLine::Action::Invalid;
        m_line.message = message;
    }

    template <typename Number, typename Convert>
    void number(const QString& option, Number& target, Convert convert, const QString& requirement)
    {
        if (!m_parser.isSet(option))
            return;
        bool ok = false;
        const QString text = m_parser.value(option);
        const Number value = convert(text, &ok);
        if (ok)
            target = value;
        else
            fail(u"--%1 %2: %3"_s.arg(option, text, requirement));
    }

private:
    const QCommandLineParser& m_parser;
    CommandLine& m_line;
};

void readNumbers(Reader& reader, CommandLine& line)
{
    reader.number(
        u"channels"_s, line.channels,
        [](const QString& text, bool* ok) {
            const int value = text.toInt(ok);
            *ok = *ok && value >= 1 && value <= MaxChannels;
            return value;
        },
        u"1 to 16 channels can be recorded."_s);
    const auto positive = [](double limit) {
        return [limit](const QString& text, bool* ok) {
            const double value = text.toDouble(ok);
            *ok = *ok && std::isfinite(value) && value > 0.0 && value <= limit;
            return value;
        };
    };
    reader.number(u"duration"_s, line.durationSeconds, positive(1e9),
                  u"a number of seconds above 0 is needed."_s);
    reader.number(u"simulate-speed"_s, line.simulateSpeed, positive(1e6), u"a number above 0 is needed."_s);
    reader.number(
        u"simulate-seed"_s, line.simulateSeed,
        [](const QString& text, bool* ok) { return text.toULongLong(ok); }, u"a whole number is needed."_s);
}

void readAnimal(const QCommandLineParser& parser, Reader& reader, CommandLine& line)
{
    if (!parser.isSet(u"animal"_s))
        return;
    const QString kind = parser.value(u"animal"_s);
    if (kind == "mouse"_L1)
        line.animalType = AnimalMouse;
    else if (kind == "rat"_L1)
        line.animalType = AnimalRat;
    else
        reader.fail(u"--animal %1: \"mouse\" or \"rat\" is needed."_s.arg(kind));
}

void readSerialPorts(const QCommandLineParser& parser, Reader& reader, CommandLine& line)
{
    const QStringList given = parser.values(u"extra-serial-port"_s);
    for (const QString& text : given) {
        QString error;
        if (const auto port = parseExtraPort(text, &error))
            line.extraSerialPorts << *port;
        else
            reader.fail(u"--extra-serial-port %1: %2."_s.arg(text, error));
    }
}

} // namespace

quint64 CommandLine::frameLimit() const
{
    return static_cast<quint64>(std::ceil(durationSeconds * FramesPerSecond - 1e-9));
}

CommandLine parseCommandLine(const QStringList& arguments)
{
    CommandLine line;
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    addOptions(parser);
    Reader reader(parser, line);
    if (!parser.parse(splitSimulate(arguments))) {
        reader.fail(parser.errorText());
        return line;
    }
    if (parser.isSet(u"help"_s)) {
        line.action = CommandLine::Action::ShowHelp;
        line.message = parser.helpText();
        return line;
    }
    if (parser.isSet(u"version"_s)) {
        line.action = CommandLine::Action::ShowVersion;
        line.message = softwareVersionText();
        return line;
    }
    line.headless = parser.isSet(u"headless"_s);
    line.simulate = parser.isSet(u"simulate"_s);
    line.simulateFaults = parser.value(u"simulate-faults"_s);
    line.device = parser.value(u"device"_s);
    line.output = parser.value(u"output"_s);
    line.animalIds = parser.values(u"animal-id"_s);
    line.activityOnly = parser.isSet(u"activity-only"_s);
    line.bandpass = parser.isSet(u"bandpass"_s);
    line.nidaqmxLibrary = parser.value(u"nidaqmx-library"_s);
    line.setupFile = parser.value(u"setup"_s);
    line.clearSettings = parser.isSet(u"clear-settings"_s);
    if (parser.isSet(u"setup"_s) && line.setupFile.isEmpty())
        reader.fail(u"--setup needs a FILE."_s);
    readNumbers(reader, line);
    readAnimal(parser, reader, line);
    readSerialPorts(parser, reader, line);

    const QStringList files = parser.positionalArguments();
    if (files.size() > 1 || (!files.isEmpty() && !line.simulate))
        reader.fail(u"Unexpected argument '%1'."_s.arg(files.last()));
    else if (!files.isEmpty())
        line.simulateFile = files.first();
    if (parser.isSet(u"list-devices"_s) && line.action == CommandLine::Action::Run)
        line.action = CommandLine::Action::ListDevices;
    if (line.action == CommandLine::Action::Run && line.headless && line.output.isEmpty())
        reader.fail(u"--headless needs --output BASE: where to write the recording."_s);
    return line;
}

} // namespace vt
