// SPDX-License-Identifier: GPL-3.0-or-later
// Kernels for the instruction set that the whole program is built for.
#define VT_KERNELS KernelsBaseline
#define VT_LANES 2
#define VT_KERNELS_NAME "baseline"
#include "processing/kernels/KernelCode.h"
