// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/PseudoTerminal.h"

namespace vt {

struct PseudoTerminal::Private
{};

bool PseudoTerminal::isAvailable()
{
    return false;
}

PseudoTerminal::PseudoTerminal() = default;
PseudoTerminal::~PseudoTerminal() = default;

bool PseudoTerminal::open(std::function<void()>)
{
    return false;
}

void PseudoTerminal::close() {}

bool PseudoTerminal::isOpen() const
{
    return false;
}

QString PseudoTerminal::peerPath() const
{
    return {};
}

QByteArray PseudoTerminal::read()
{
    return {};
}

qsizetype PseudoTerminal::write(const QByteArray&)
{
    return 0;
}

QString PseudoTerminal::errorText() const
{
    return QStringLiteral("simulated serial devices are not available on Windows");
}

} // namespace vt
