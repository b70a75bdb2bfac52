// SPDX-License-Identifier: GPL-3.0-or-later
// Started by a dying program: adds names and source lines to its crash report, or shows where the report is.
//   vellumtide-crash-report --annotate REPORT
//   vellumtide-crash-report --box REPORT EXCEPTION
#include "app/crashreport/CrashBox.h"
#include "app/crashreport/ReportFile.h"

#include <QFile>
#include <QString>
#include <cstdio>
#include <string_view>

int main(int argc, char** argv)
{
    const std::string_view mode = argc > 1 ? argv[1] : "";
    if (mode == "--annotate" && argc == 3)
        return vt::crash::annotateReport(QFile::decodeName(argv[2])) ? 0 : 1;
    if (mode == "--box" && argc == 4)
        return vt::crash::showCrashBox(argc, argv, QFile::decodeName(argv[2]),
                                       QString::fromLocal8Bit(argv[3]));
    std::fputs("usage: vellumtide-crash-report --annotate REPORT | --box REPORT EXCEPTION\n", stderr);
    return 2;
}
