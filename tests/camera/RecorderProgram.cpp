// SPDX-License-Identifier: GPL-3.0-or-later
// A program that records one camera until it is killed:   vt_recorder_program FFMPEG FOLDER PASSWORD
// Prints "recording ID" with ffmpeg's process id once video flows.
#include "camera/AxisRecordingManager.h"

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 4)
        return 2;
    vt::SystemTimeSource time;
    vt::AxisRecordingManager manager(time, {arguments[1], QStringLiteral("ffprobe")});
    QObject::connect(&manager, &vt::CameraRecorder::recordingStatusChanged, &manager,
                     [&manager](const QString& mac, bool isRecording) {
                         if (isRecording)
                             std::printf("recording %lld\n", static_cast<long long>(manager.processId(mac)));
                         std::fflush(stdout);
                     });
    vt::CameraStream stream;
    stream.mac = QStringLiteral("AC-CC-8E-00-00-01");
    stream.address = QHostAddress(QStringLiteral("127.0.0.1"));
    stream.user = QStringLiteral("root");
    stream.password = arguments[3];
    stream.baseDirectory = arguments[2];
    stream.channel = 1;
    manager.startCamera(stream);
    return QCoreApplication::exec();
}
