// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFile>
#include <QString>
#include <QTemporaryDir>

namespace vt::test {

/// A program in ffmpeg's place that does what it was told last.
class ScriptedFfmpeg
{
public:
    enum Behaviour {
        Die,        ///< at once, without a frame
        Record,     ///< a frame, then until "q"
        IgnoreQuit, ///< a frame, then for minutes, whatever it is told
        Talk,       ///< a frame, and more errors than a pipe holds, with the address in them; then until "q"
        Stumble     ///< a frame, and dies
    };

    explicit ScriptedFfmpeg(Behaviour behaviour = Record)
    {
        QFile script(program());
        if (script.open(QIODevice::WriteOnly))
            script.write("#!/bin/bash\n"
                         "mode=$(cat \"$(dirname \"$0\")/mode\")\n"
                         "[[ $mode == 0 ]] && exit 1\n"
                         "printf %s \"$7\" > \"$(dirname \"$0\")/address\"\n"
                         "printf 'frame=    1 fps=0.0\\r' >&2\n"
                         "[[ $mode == 4 ]] && exit 1\n"
                         "if [[ $mode == 2 ]]; then trap '' INT TERM HUP; while :; do sleep 1000; done; fi\n"
                         "if [[ $mode == 3 ]]; then\n"
                         "    for ((i = 0; i < 20000; i++)); do echo \"error of $7\"; done >&2\n"
                         "    printf 'frame=  777 fps=0.0\\r' >&2\n"
                         "fi\n"
                         "while read -r line; do [[ $line == q ]] && exit 0; done\n");
        script.close();
        script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        behave(behaviour);
    }
    void behave(Behaviour behaviour) const
    {
        QFile mode(m_folder.filePath(QStringLiteral("mode")));
        if (mode.open(QIODevice::WriteOnly))
            mode.write(QByteArray::number(behaviour));
    }
    /// That it films, or filmed last.
    [[nodiscard]] QByteArray streamAddress() const
    {
        QFile address(m_folder.filePath(QStringLiteral("address")));
        return address.open(QIODevice::ReadOnly) ? address.readAll() : QByteArray();
    }
    [[nodiscard]] QString program() const { return m_folder.filePath(QStringLiteral("ffmpeg")); }

private:
    QTemporaryDir m_folder;
};

} // namespace vt::test
