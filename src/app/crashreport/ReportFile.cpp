// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/crashreport/ReportFile.h"

#include "app/crashreport/ReportLines.h"
#include "platform/ModuleSymbols.h"

#include <QFile>
#include <QSaveFile>

namespace vt::crash {

bool annotateReport(const QString& path)
{
    QFile report(path);
    if (!report.open(QIODevice::ReadOnly))
        return false;
    const std::string text = report.readAll().toStdString();
    report.close();

    ModuleSymbols symbols;
    const std::string better = annotated(text, [&symbols](const FrameLine& frame) {
        // All but the innermost address are where a call returns to, which may be the next line already.
        return symbols.placeName(frame.module, frame.offset - (frame.number > 0 ? 1 : 0));
    });
    QSaveFile fresh(path);
    return fresh.open(QIODevice::WriteOnly) &&
           fresh.write(better.data(), static_cast<qint64>(better.size())) ==
               static_cast<qint64>(better.size()) &&
           fresh.commit();
}

} // namespace vt::crash
