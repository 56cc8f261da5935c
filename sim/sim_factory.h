// The factory calibration the simulated instruments ship with on their flash: a two-port
// calibration "measured" on the simulator's own error model, noise free, with a kit of offset
// standards, at the factory's temperature.
#pragma once

#include <vector>

#include "vna_calibration.h"

namespace vnasim
{
// The flash date of the shipped calibration, seconds since 1970 UTC.
constexpr unsigned long kFactoryFlashDate = 1705311000ul;
// The temperature the instrument was held at while it was calibrated, degrees Celsius.
constexpr double kFactoryTemperature = 45.0;

// The calibration of the instrument with this serial number, as the factory made it.
VNACalibration FactoryCalibration(int serial);
// Its flash block (FactoryCal format), made once per serial number and kept.
const std::vector<unsigned char>& FactoryCalBlock(int serial);
}  // namespace vnasim
