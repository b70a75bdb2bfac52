// SPDX-License-Identifier: GPL-3.0-or-later
// What is included by many tests, parsed once where VELLUMTIDE_PCH is on.
#pragma once

#include "engine.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
