#include "battery_preset.h"

namespace Board {

namespace {

// The curves go a little below 0: a cell that is drained past its usual limit still holds a few percent, at a voltage
// that collapses.
constexpr CurvePoint nickelMetalHydride[] = {
    {-0.03, 0.400}, {-0.01, 0.800}, {0.00, 0.950},  {0.01, 1.080}, {0.02, 1.180}, {0.03, 1.250},
    {0.04, 1.285},  {0.05, 1.298},  {0.40, 1.336},  {0.60, 1.354}, {0.80, 1.372}, {0.90, 1.385},
    {0.95, 1.397},  {0.98, 1.418},  {0.995, 1.438}, {1.00, 1.440},
};

constexpr CurvePoint nickelCadmium[] = {
    {-0.03, 0.400}, {-0.01, 0.780}, {0.00, 0.940},  {0.01, 1.090}, {0.02, 1.200}, {0.03, 1.270},
    {0.04, 1.300},  {0.05, 1.312},  {0.40, 1.350},  {0.60, 1.368}, {0.80, 1.386}, {0.90, 1.400},
    {0.95, 1.418},  {0.98, 1.450},  {0.995, 1.487}, {1.00, 1.490},
};

constexpr CurvePoint lithiumPolymer[] = {
    {-0.04, 0.400}, {-0.01, 2.500}, {0.00, 3.000}, {0.03, 3.450}, {0.06, 3.600},
    {0.10, 3.680},  {0.20, 3.740},  {0.30, 3.770}, {0.40, 3.800}, {0.50, 3.840},
    {0.60, 3.880},  {0.70, 3.950},  {0.80, 4.030}, {0.90, 4.110}, {1.00, 4.200},
};

constexpr CellPreset nickelMetalHydrideCell = {
    .openCircuit = nickelMetalHydride,
    .resistanceAmpHours = 0.050,
    .chargePolarisation = 0.004,
    .dischargePolarisation = 0.100,
    .surfacePolarisation = 0,
    .acceptanceWidth = 0.015,
    .earlyBump = 0.0060,
    .overchargeFall = 0.010,
    .temperatureCoefficient = 0.00006,
    .reversibleHeat = 0.05,
    .chargeLimitVolts = 0,
    .fullVolts = 1.44,
    .highestVolts = 1.70,
    .defaultCells = 4,
    .mostCells = 16,
};

constexpr CellPreset nickelCadmiumCell = {
    .openCircuit = nickelCadmium,
    .resistanceAmpHours = 0.030,
    .chargePolarisation = 0.004,
    .dischargePolarisation = 0.080,
    .surfacePolarisation = 0,
    .acceptanceWidth = 0.015,
    .earlyBump = 0.0060,
    .overchargeFall = 0.017,
    .temperatureCoefficient = 0.0001,
    .reversibleHeat = -0.03,
    .chargeLimitVolts = 0,
    .fullVolts = 1.49,
    .highestVolts = 1.70,
    .defaultCells = 4,
    .mostCells = 16,
};

constexpr CellPreset lithiumPolymerCell = {
    .openCircuit = lithiumPolymer,
    .resistanceAmpHours = 0.040,
    .chargePolarisation = 0.020,
    .dischargePolarisation = 0.040,
    .surfacePolarisation = 0.060,
    .acceptanceWidth = 0.001,
    .earlyBump = 0,
    .overchargeFall = 0,
    .temperatureCoefficient = 0,
    .reversibleHeat = 0,
    .chargeLimitVolts = 4.2,
    .fullVolts = 4.2,
    .highestVolts = 4.5,
    .defaultCells = 3,
    .mostCells = 6,
};

} // namespace

const CellPreset &PresetOf(Chemistry chemistry)
{
    switch (chemistry) {
    case Chemistry::NiCd:
        return nickelCadmiumCell;
    case Chemistry::LiPo:
        return lithiumPolymerCell;
    case Chemistry::NiMh:
        break;
    }
    return nickelMetalHydrideCell;
}

} // namespace Board
