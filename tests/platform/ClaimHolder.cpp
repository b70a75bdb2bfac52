// SPDX-License-Identifier: GPL-3.0-or-later
// Another instance of the program: claims the device named on the command line, says how that went, and keeps
// the claim until its standard input ends.
#include "platform/DaqClaim.h"

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 2)
        return 2;
    const QString serial = QString::fromLocal8Bit(argv[1]);
    vt::DaqClaim claim;
    const qint64 holder = claim.otherHolder(serial).value_or(-1);
    std::printf("%s %lld\n", claim.tryClaim(serial) ? "claimed" : "refused", static_cast<long long>(holder));
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
}
