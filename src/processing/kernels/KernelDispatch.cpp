// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/kernels/Kernels.h"

namespace vt {

extern const Kernels KernelsBaseline;
#ifdef VT_WITH_AVX2_KERNELS
extern const Kernels KernelsAvx2;
#endif

KernelSets runnableKernels()
{
    KernelSets result{{&KernelsBaseline}, 1};
#ifdef VT_WITH_AVX2_KERNELS
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
        result.sets[result.count++] = &KernelsAvx2;
#endif
    return result;
}

const Kernels& bestKernels()
{
    static const Kernels& best = []() -> const Kernels& {
        const KernelSets sets = runnableKernels();
        return *sets.sets[sets.count - 1];
    }();
    return best;
}

} // namespace vt
