// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/Theme.h"

#include <gtest/gtest.h>

using namespace vt;

TEST(Theme, ContrastAgreesWithPublishedRatios)
{
    EXPECT_NEAR(Theme::contrast(Qt::black, Qt::white), 21.0, 1e-9);
    EXPECT_NEAR(Theme::contrast(QColor(0x77, 0x77, 0x77), Qt::white), 4.48, 0.005); // WebAIM's grey example
    EXPECT_NEAR(Theme::contrast(Qt::red, Qt::white), 4.0, 0.005);
}

class ThemePalettes : public testing::TestWithParam<int>
{
protected:
    static QPalette palette(int which)
    {
        switch (which) {
        case 0:
            return Theme::lightPalette();
        case 1:
            return Theme::darkPalette();
        default:
            return QPalette(QColor(0xef, 0xef, 0xef)); // what a plain desktop gives
        }
    }
};

TEST_P(ThemePalettes, EveryTextCanBeReadOnEveryBackground)
{
    const Theme theme = Theme::fromPalette(palette(GetParam()));
    EXPECT_EQ(theme.dark, GetParam() == 1);
    const auto expectReadable = [](const char* name, const QColor& text, const QColor& background) {
        EXPECT_GE(Theme::contrast(text, background), 4.5)
            << name << ' ' << qPrintable(text.name()) << " on " << qPrintable(background.name());
    };
    for (const QColor& background : {theme.surface, theme.window}) {
        expectReadable("text", theme.text, background);
        expectReadable("muted", theme.mutedText, background);
        expectReadable("good", theme.good, background);
        expectReadable("warning", theme.warning, background);
        expectReadable("danger", theme.danger, background);
        expectReadable("asleep", theme.asleep, background);
        expectReadable("awake", theme.awake, background);
        expectReadable("trace", theme.trace, background);
    }
    expectReadable("on accent", theme.onAccent, theme.accent);
    expectReadable("on danger", theme.onDanger, theme.danger);
    EXPECT_GE(Theme::contrast(theme.outline, theme.surface), 3.0) << "WCAG 1.4.11: edges of fields";
}

TEST_P(ThemePalettes, NoPlaceholderIsLeftInTheStyleSheet)
{
    const QString sheet = Theme::fromPalette(palette(GetParam())).styleSheet(QFont());
    EXPECT_FALSE(sheet.contains(u'@')) << qPrintable(sheet);
}

INSTANTIATE_TEST_SUITE_P(LightDarkPlain, ThemePalettes, testing::Values(0, 1, 2));
