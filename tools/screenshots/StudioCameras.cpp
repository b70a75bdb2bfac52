// SPDX-License-Identifier: GPL-3.0-or-later
#include "StudioCameras.h"

#include <QPainter>

namespace vt {

QString StudioCameras::mac(int index)
{
    return QStringLiteral("00-40-8C-00-00-%1").arg(index + 20);
}

QImage StudioCameras::picture(int index)
{
    QImage image(640, 480, QImage::Format_RGB32);
    image.fill(QColor(58, 60, 62)); // infrared light: no colours
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(150, 152, 154), 6));
    painter.setBrush(QColor(88, 90, 92));
    painter.drawRoundedRect(60, 40, 520, 400, 36, 36);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(104, 106, 108));
    for (int flake = 0; flake < 60; ++flake) // bedding
        painter.drawEllipse(90 + flake * 137 % 450, 70 + flake * 89 % 330, 18, 7);
    painter.translate(index == 0 ? 260 : 400, index == 0 ? 250 : 170);
    painter.rotate(index == 0 ? 20 : -50);
    painter.setPen(QPen(QColor(196, 198, 200), 6, Qt::SolidLine, Qt::RoundCap));
    painter.drawArc(-150, -20, 120, 60, 10 * 16, 150 * 16); // tail
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(214, 216, 218));
    painter.drawEllipse(-60, -36, 120, 72);
    painter.drawEllipse(34, -24, 62, 48);
    painter.setBrush(QColor(180, 182, 184));
    painter.drawEllipse(44, -38, 22, 22); // ears
    painter.drawEllipse(44, 16, 22, 22);
    return image;
}

void StudioCameras::startScan()
{
    for (int index = 0; index < Count; ++index) {
        // Nobody answers there: the pictures do not come over a network.
        emit cameraFound(mac(index), QHostAddress(QStringLiteral("127.0.0.%1").arg(index + 20)));
        emit resolutionsKnown(
            mac(index), {QStringLiteral("1920x1080"), QStringLiteral("1280x720"), QStringLiteral("640x480")});
    }
    emit scanFinished(Count, {});
}

void StudioCameras::startCamera(const CameraOrder& order)
{
    emit recordingStatusChanged(order.stream.mac, true);
}

void StudioCameras::stopCamera(const QString& mac)
{
    emit recordingStatusChanged(mac, false);
}

} // namespace vt
