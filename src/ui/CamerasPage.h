// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QWidget>
#include <map>
#include <memory>

class QGridLayout;
class QLabel;
class QPushButton;
class QStackedLayout;

namespace vt {

class CameraSession;
class CameraView;
class MjpegStream;
class TimeSource;
struct CameraStatus;

/// The live pictures of all cameras that are set up or on the network, one tile each. A picture is asked for
/// only while its tile can be seen. Interface thread.
class CamerasPage : public QWidget
{
    Q_OBJECT
public:
    /// Both outlive the page; without them there are no cameras.
    CamerasPage(CameraSession* cameras, TimeSource* time, QWidget* parent = nullptr);
    ~CamerasPage() override;

    [[nodiscard]] int tileCount() const { return static_cast<int>(m_tiles.size()); }

private:
    struct Tile
    {
        CameraView* view = nullptr; ///< owned by the grid's widget
        std::unique_ptr<MjpegStream> stream;
        QString address; ///< that the stream was last started with
        bool isWanted = false;
    };
    [[nodiscard]] QWidget* buildEmpty();
    [[nodiscard]] QWidget* buildGrid();
    void showCameras();
    void addTile(const QString& mac);
    void place();
    void setWanted(const QString& mac, bool isWanted);
    void startStream(const QString& mac, Tile& tile);

    CameraSession* m_cameras;
    TimeSource* m_time;
    std::map<QString, Tile> m_tiles; ///< by MAC address
    QStackedLayout* m_pages;
    QLabel* m_emptyText = nullptr;
    QPushButton* m_rescan = nullptr;
    QWidget* m_gridPage = nullptr;
    QGridLayout* m_grid = nullptr;
};

} // namespace vt
