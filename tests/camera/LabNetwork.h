// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>

namespace vt::test {

/// A network of its own inside this computer: the calling thread becomes a computer "lan0" (192.0.2.1) on a
/// virtual switch with two cameras, each in a network namespace of its own. Sockets stay in the namespace in
/// which they were made. Needs the rights to make namespaces, and iproute2. Use it on the process's first
/// thread: the table of neighbours in /proc is that of the first thread's namespace.
class LabNetwork
{
public:
    LabNetwork();
    /// Leads back to the namespace that the thread came from.
    ~LabNetwork();
    LabNetwork(const LabNetwork&) = delete;
    LabNetwork& operator=(const LabNetwork&) = delete;

    /// Why there is no such network; empty when there is one.
    [[nodiscard]] QString problem() const { return m_problem; }
    [[nodiscard]] static QString cameraAddress(int camera)
    {
        return QStringLiteral("192.0.2.%1").arg(camera + 20);
    }
    [[nodiscard]] static QString cameraMac(int camera)
    {
        return QStringLiteral("00-40-8C-00-00-%1").arg(camera + 20, 2, 16, QLatin1Char('0')).toUpper();
    }

    /// What is made while this lives is made at the camera (0, 1).
    class AtCamera
    {
    public:
        AtCamera(const LabNetwork& network, int camera);
        ~AtCamera();
        AtCamera(const AtCamera&) = delete;
        AtCamera& operator=(const AtCamera&) = delete;

    private:
        const LabNetwork& m_network;
    };
    /// One command of iproute2, in the namespace of the computer.
    [[nodiscard]] bool ip(const QString& command);

private:
    [[nodiscard]] bool build();
    [[nodiscard]] bool enter(const QString& node) const;
    [[nodiscard]] QString nameOf(const QString& node) const;

    QString m_problem;
    QStringList m_made; ///< namespaces
    bool m_isEntered = false;
    int m_home = -1; ///< descriptor of the namespace that the thread came from
};

} // namespace vt::test
