// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QProxyStyle>

namespace vt {

/// Fusion with outlines and check marks that can be seen on a dark desktop: it derives its outlines by
/// darkening the window colour, which on a dark one leaves fields without an edge. Interface thread.
class InstrumentStyle : public QProxyStyle
{
    Q_OBJECT
public:
    InstrumentStyle();

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                            const QWidget* widget) const override;
};

} // namespace vt
