// SPDX-License-Identifier: GPL-3.0-or-later
// What is included by many files of the window, parsed once where VELLUMTIDE_PCH is on.
#pragma once

#include "engine.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTableWidget>
#include <QToolTip>
#include <QVBoxLayout>
#include <QWidget>
