// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDateTime>
#include <QMap>
#include <QSet>
#include <QString>
#include <optional>
#include <vector>

namespace vt {

/// Which cameras should film and do not, and what the user is told of it: that a camera does not film, and
/// that it does again when it has for SteadyMs. One that comes and goes would fill the night with notices: of
/// a camera that fails again within TellAgainMs only the notice that is not true any more is taken back, and
/// the failure is told when that time has passed and it has not ended. Plain state; nowMs is monotonic, and
/// now the same moment on the wall clock.
class CameraTroubles
{
public:
    static constexpr qint64 TellAgainMs = 3600000;
    static constexpr qint64 SteadyMs = 15000; ///< longer than an ffmpeg that hangs has until it is killed

    struct News
    {
        enum class Kind { DoesNotFilm, FilmsAgain, TakeBack };
        Kind kind = Kind::TakeBack; ///< TakeBack: what was told of the camera
        QString mac;
        QString what; ///< of DoesNotFilm: why
        QDateTime since;
        QDateTime back; ///< of FilmsAgain
    };

    /// A recording begins: nothing was told yet.
    void begin();
    /// It has ended.
    void end() { m_troubled.clear(); }
    /// isCause: what explains the trouble, and is told once even though the trouble was told already.
    [[nodiscard]] std::optional<News> fail(const QString& mac, const QString& what, bool isCause,
                                           const QDateTime& now, qint64 nowMs);
    void setFilming(const QString& mac, bool isFilming, const QDateTime& now, qint64 nowMs);
    /// The user does not want its film any more.
    [[nodiscard]] std::optional<News> forget(const QString& mac);
    /// What is due by now.
    [[nodiscard]] std::vector<News> review(qint64 nowMs);
    /// When something will be due; empty: nothing will.
    [[nodiscard]] std::optional<qint64> nextReviewMs() const;

private:
    struct Trouble
    {
        QDateTime since;
        QString what;
        QSet<QString> causes; ///< told, or to be told with the trouble
        bool isTold = false;
        QDateTime filmsSince; ///< invalid: it does not
        qint64 filmsSinceMs = 0;
    };
    [[nodiscard]] News tell(const QString& mac, Trouble& trouble, qint64 nowMs);
    [[nodiscard]] qint64 dueMs(const QString& mac, const Trouble& trouble) const;

    QMap<QString, Trouble> m_troubled; ///< by MAC address
    QMap<QString, qint64> m_toldAtMs;  ///< that it does not film
};

} // namespace vt
