// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDir>
#include <QString>
#include <functional>

class QPalette;
class QWidget;

namespace vt {

/// Lets the event loop run for so long, in real time.
void letEventsRun(int milliseconds);

/// Saves pictures of widgets, each in the light and in the dark theme, as small PNG files: name-light.png,
/// name-dark.png. Interface thread.
class PictureAlbum
{
public:
    explicit PictureAlbum(const QString& folder) : m_folder(folder) {}

    /// prepare is called just before each of the two pictures is taken, for what does not stay by itself.
    void save(QWidget& widget, const QString& name, const std::function<void()>& prepare = {});
    /// Every picture could be written.
    [[nodiscard]] bool isComplete() const { return m_isComplete; }
    [[nodiscard]] int count() const { return m_count; }

private:
    static void setTheme(const QPalette& palette);

    const QDir m_folder;
    int m_count = 0;
    bool m_isComplete = true;
};

} // namespace vt
