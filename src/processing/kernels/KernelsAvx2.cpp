// SPDX-License-Identifier: GPL-3.0-or-later
// Kernels for x86-64 with AVX2 and FMA; see CMakeLists.txt for the compiler's options.
#define VT_KERNELS KernelsAvx2
#define VT_LANES 4
#define VT_KERNELS_NAME "avx2"
#include "processing/kernels/KernelCode.h"
