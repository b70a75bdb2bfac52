// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/CamerasPage.h"

#include "session/CameraSession.h"
#include "ui/CameraView.h"
#include "ui/Theme.h"

#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedLayout>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr int TileWidth = 320;
constexpr int TileHeight = 240;

CameraView::State viewState(MjpegState state)
{
    switch (state) {
    case MjpegState::Stopped:
        return CameraView::State::Stopped;
    case MjpegState::Connecting:
        return CameraView::State::Connecting;
    case MjpegState::Playing:
        return CameraView::State::Playing;
    case MjpegState::Waiting:
        break;
    }
    return CameraView::State::Waiting;
}

} // namespace

CamerasPage::CamerasPage(CameraSession* cameras, TimeSource* time, QWidget* parent)
    : QWidget(parent), m_cameras(time ? cameras : nullptr), m_time(time), m_pages(new QStackedLayout(this))
{
    m_pages->addWidget(buildEmpty());
    m_pages->addWidget(buildGrid());
    if (!m_cameras)
        return;
    connect(&m_cameras->registry(), &CameraManagerRegistry::camerasChanged, this, &CamerasPage::showCameras);
    connect(&m_cameras->registry(), &CameraManagerRegistry::scanStarted, this, &CamerasPage::showCameras);
    connect(&m_cameras->registry(), &CameraManagerRegistry::scanFinished, this, &CamerasPage::showCameras);
    connect(m_cameras, &CameraSession::credentialsChanged, this, [this] {
        for (auto& [mac, tile] : m_tiles)
            if (tile.isWanted)
                startStream(mac, tile);
    });
    connect(m_rescan, &QPushButton::clicked, this, [this] { m_cameras->registry().rescan(); });
    showCameras();
}

CamerasPage::~CamerasPage() = default;

QWidget* CamerasPage::buildEmpty()
{
    auto* page = new QWidget(this);
    m_emptyText = new QLabel(tr("No camera is set up"), page);
    setTextRole(m_emptyText, TextRole::Headline);
    m_emptyText->setAlignment(Qt::AlignHCenter);
    auto* hint = new QLabel(tr("Cameras on this computer's network are found by themselves. Assign them to "
                               "cages in the setup, on the tab \"Video\"."),
                            page);
    setTextRole(hint, TextRole::Hint);
    hint->setAlignment(Qt::AlignHCenter);
    hint->setWordWrap(true);
    m_rescan = new QPushButton(tr("Rescan Cameras"), page);
    m_rescan->setToolTip(tr("Search the network for cameras; takes 10 s"));
    setKind(m_rescan, QStringLiteral("plain"));
    m_rescan->setEnabled(m_cameras != nullptr);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(spacing::Huge, 0, spacing::Huge, 0);
    layout->setSpacing(spacing::Medium);
    layout->addStretch();
    layout->addWidget(m_emptyText);
    layout->addWidget(hint);
    layout->addWidget(m_rescan, 0, Qt::AlignHCenter);
    layout->addStretch();
    return page;
}

QWidget* CamerasPage::buildGrid()
{
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    m_gridPage = new QWidget(scroll);
    m_grid = new QGridLayout(m_gridPage);
    m_grid->setContentsMargins(0, spacing::Small, 0, 0);
    m_grid->setSpacing(spacing::Small);
    scroll->setWidget(m_gridPage);
    return scroll;
}

void CamerasPage::showCameras()
{
    const bool isScanning = m_cameras->registry().isScanning();
    m_rescan->setEnabled(!isScanning);
    m_emptyText->setText(isScanning ? tr("Searching for cameras …") : tr("No camera is set up"));
    for (const CameraStatus& camera : m_cameras->registry().cameras()) {
        const QString& mac = camera.settings.mac;
        if (!m_tiles.contains(mac))
            addTile(mac);
        Tile& tile = m_tiles.at(mac);
        const QString where =
            camera.settings.channel > 0 ? tr("Cage %1").arg(camera.settings.channel) : tr("No cage");
        tile.view->setTitle(
            tr("%1 – %2%3").arg(where, mac, camera.isRecording ? tr(", recording") : QString()));
        if (tile.isWanted && tile.address != camera.address.toString())
            startStream(mac, tile);
    }
    m_pages->setCurrentIndex(m_tiles.empty() ? 0 : 1);
}

void CamerasPage::addTile(const QString& mac)
{
    Tile tile;
    tile.view = new CameraView(m_gridPage);
    tile.view->setMinimumSize(TileWidth, TileHeight);
    tile.stream = std::make_unique<MjpegStream>(*m_time);
    connect(tile.stream.get(), &MjpegStream::pictureReady, tile.view, &CameraView::showPicture);
    connect(tile.stream.get(), &MjpegStream::stateChanged, tile.view,
            [view = tile.view](MjpegState state, const QString& detail) {
                view->showState(viewState(state), detail);
            });
    connect(tile.view, &CameraView::wanted, this, [this, mac](bool isWanted) { setWanted(mac, isWanted); });
    m_tiles.emplace(mac, std::move(tile));
    place();
}

/// As many columns as make a square of tiles, at most three.
void CamerasPage::place()
{
    const int columns =
        std::clamp(static_cast<int>(std::ceil(std::sqrt(static_cast<double>(m_tiles.size())))), 1, 3);
    int index = 0;
    for (const auto& [mac, tile] : m_tiles) {
        m_grid->addWidget(tile.view, index / columns, index % columns);
        ++index;
    }
}

void CamerasPage::setWanted(const QString& mac, bool isWanted)
{
    const auto found = m_tiles.find(mac);
    if (found == m_tiles.end())
        return;
    found->second.isWanted = isWanted;
    if (isWanted)
        startStream(mac, found->second);
    else
        found->second.stream->stop();
}

void CamerasPage::startStream(const QString& mac, Tile& tile)
{
    const MjpegCamera camera = m_cameras->liveCamera(mac);
    tile.address = camera.address.toString();
    if (camera.address.isNull()) {
        tile.stream->stop();
        tile.view->showState(CameraView::State::Stopped, tr("The camera has not been found yet"));
        return;
    }
    tile.stream->start(camera);
}

} // namespace vt
