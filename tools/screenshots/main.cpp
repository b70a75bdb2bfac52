// SPDX-License-Identifier: GPL-3.0-or-later
// vt_screenshots [options] [FOLDER]: runs the window on the simulated unit, without a display and as fast as
// the program works, and saves a picture of every page, tab, question and notice, light and dark, in FOLDER
// (docs/images when none is given).
//
//   --size WxH      of the window; default 1280x800
//   --channels N    1 to 16; default 8
//   --days N        that the recording for the summaries lasts; default 3
//
// Exit status 1 when a step did not come about, whose name is told, or a picture could not be saved; 2 when
// the arguments are wrong.
#include "PictureAlbum.h"
#include "Studio.h"
#include "Tour.h"
#include "session/AppSettings.h"
#include "ui/Theme.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QLocale>
#include <QMessageLogContext>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>
#include <optional>

using namespace vt;
using namespace Qt::StringLiterals;

namespace {

struct Order
{
    Studio::Options studio;
    int days = 3;
    QString folder;
};

std::optional<Order> parse(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addOptions({{u"size"_s, {}, u"WxH"_s, u"1280x800"_s},
                       {u"channels"_s, {}, u"N"_s, u"8"_s},
                       {u"days"_s, {}, u"N"_s, u"3"_s}});
    parser.addPositionalArgument(u"folder"_s, {});
    const bool isParsed = parser.parse(arguments);
    const QStringList size = parser.value(u"size"_s).split(u'x');
    const QStringList folders = parser.positionalArguments();
    Order order;
    order.studio.size = {size.value(0).toInt(), size.value(1).toInt()};
    order.studio.channels = parser.value(u"channels"_s).toInt();
    order.days = parser.value(u"days"_s).toInt();
    order.folder = QDir(folders.value(0, QStringLiteral(VELLUMTIDE_PICTURES))).absolutePath();
    constexpr int mostChannels = 16;
    const bool isRight = isParsed && folders.size() <= 1 && !order.studio.size.isEmpty() && order.days > 0 &&
                         order.studio.channels > 0 && order.studio.channels <= mostChannels;
    return isRight ? std::optional(order) : std::nullopt;
}

/// A day is half a million lines of it.
void leaveLogOut(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtCriticalMsg || type == QtFatalMsg)
        QTextStream(stderr) << text << '\n';
}

bool takePictures(const Order& order, PictureAlbum& album)
{
    {
        Studio studio(order.studio, album);
        if (!tourSetup(studio) || !tourDays(studio, order.days) || !tourRecording(studio) ||
            !tourRefusals(studio))
            return false;
    }
    Studio::Options withoutResume = order.studio;
    withoutResume.autoResume = false;
    Studio studio(withoutResume, album);
    return tourDeviceLost(studio);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler(&leaveLogOut);
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    const std::optional<Order> order = parse(QApplication::arguments());
    if (!order || !QDir().mkpath(order->folder)) {
        QTextStream(stderr) << "usage: vt_screenshots [--size WxH] [--channels N] [--days N] [FOLDER]\n";
        return 2;
    }
    // Nobody's settings are read or changed, and no picture shows where it was taken: recordings have
    // relative names.
    const QTemporaryDir workshop;
    AppSettings::useFiles(workshop.filePath(u"current.ini"_s), workshop.filePath(u"legacy.ini"_s));
    if (!workshop.isValid() || !QDir::setCurrent(workshop.path()) || !QDir().mkdir(u"study"_s)) {
        QTextStream(stderr) << "There is no temporary folder to record in\n";
        return 1;
    }
    QApplication::setPalette(Theme::lightPalette());
    applyApplicationStyle(application);
    PictureAlbum album(order->folder);
    bool isDone = false;
    QTimer::singleShot(0, &application, [&] { // windows follow a change of the theme while the program runs
        isDone = takePictures(*order, album);
        QApplication::quit();
    });
    QApplication::exec();
    QTextStream(stdout) << album.count() << " pictures saved\n";
    QDir::setCurrent(QDir::rootPath()); // out of the folder that is removed now
    return isDone && album.isComplete() ? 0 : 1;
}
