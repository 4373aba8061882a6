#include "features/simulator/Model.h"

namespace features::simulator {

namespace {

// Vendor identifier and OUI are of nobody: FADEh is not assigned, and the OUI is a locally administered one.
// clang-format off
constexpr Model MODELS[] = {
    {ModelId::VELKO, "VELKO Simulated NVMe SSD", "VSIM0100", 0xFADE, 0xFADE, 0x02564C, 4, true, true, 343, 358, 64,
     4, {{9, 0, 2}, {9, 8, 3}, {12, 0, 0}, {12, 8, 1}},
     5, {{2500, false, 0, 0}, {1800, false, 0, 0}, {1200, false, 0, 0}, {50, true, 2000, 3000}, {5, true, 15000, 30000}}},
    {ModelId::OCP, "Simulated OCP Datacenter NVMe SSD", "OSIM0100", 0xFADE, 0xFADE, 0x02564C, 3, false, true, 350, 358, 256,
     2, {{9, 0, 2}, {12, 0, 0}},
     3, {{2500, false, 0, 0}, {1500, false, 0, 0}, {1000, false, 0, 0}}},
};
// clang-format on

}  // namespace

const Model& modelOf(ModelId id) {
    return id == ModelId::VELKO ? MODELS[0] : MODELS[1];
}

}  // namespace features::simulator
