// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <ostream>

namespace vt::test {

/// How the program's scoring of an animal compares with what the animal did, over the 2-s steps that are at
/// least 8 s away from every change between sleep and wake.
struct Agreement
{
    int steps = 0; ///< all steps
    int sleepCompared = 0;
    int sleepAgreed = 0;
    int wakeCompared = 0;
    int wakeAgreed = 0;
    int noSignal = 0; ///< steps at which the sensor counted as disconnected
    [[nodiscard]] double share() const
    {
        return double(sleepAgreed + wakeAgreed) / double(sleepCompared + wakeCompared);
    }
};
std::ostream& operator<<(std::ostream& out, const Agreement& agreement);

/// Runs one animal through the filters, features and decision of a recording.
[[nodiscard]] Agreement scoreAnimal(int animalType, std::uint64_t seed, double hours);

/// The test itself: at least 95 % of the compared steps agree, and neither state is merely guessed.
void expectAgreement(int animalType, std::uint64_t seed, double hours);

} // namespace vt::test
