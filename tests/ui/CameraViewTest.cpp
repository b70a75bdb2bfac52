// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/CameraView.h"
#include "ui/Theme.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QSignalSpy>
#include <QTest>
#include <gmock/gmock.h>

using namespace vt;
using namespace Qt::StringLiterals;

namespace {

QImage picture()
{
    QImage image(64, 48, QImage::Format_RGB32);
    image.fill(QColor(200, 120, 40));
    return image;
}

} // namespace

TEST(CameraView, KeepsTheAspectWantsPicturesWhileSeenAndDimsWhatIsNotLive)
{
    CameraView view;
    QSignalSpy wanted(&view, &CameraView::wanted);
    view.setTitle(u"Cage 3"_s);
    view.resize(800, 300);
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    ASSERT_EQ(wanted.count(), 1);
    EXPECT_TRUE(wanted[0][0].toBool());

    view.showState(CameraView::State::Playing, {});
    view.showPicture(picture());
    const QRect drawn = view.pictureRect();
    EXPECT_NEAR(drawn.width() * 3.0 / 4.0, drawn.height(), 1.0);
    EXPECT_LT(drawn.bottom(), 300 - 10) << "the line of text has its own place";
    EXPECT_EQ(drawn.center().x(), 399);
    EXPECT_EQ(view.grab().toImage().pixelColor(drawn.center()), QColor(200, 120, 40));
    EXPECT_THAT(view.accessibleName().toStdString(), testing::HasSubstr("Cage 3"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return view.frameRate() > 0; }, 20000));

    view.showState(CameraView::State::Waiting, u"The video stream has ended"_s);
    EXPECT_LT(view.grab().toImage().pixelColor(drawn.topLeft() + QPoint(5, 5)).lightness(), 60)
        << "a picture that is not live must not look like one";
    EXPECT_EQ(view.frameRate(), 0);
    EXPECT_THAT(view.accessibleDescription().toStdString(), testing::HasSubstr("stream has ended"));

    view.hide();
    ASSERT_EQ(wanted.count(), 2);
    EXPECT_FALSE(wanted[1][0].toBool());
}
