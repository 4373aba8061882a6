#include "features/simulator/store/Model.h"

#include <algorithm>
#include <iterator>

namespace features::simulator {

namespace {

// Vendor identifier and OUI are unassigned: FADEh is not assigned, and the OUI is a locally administered one.
// clang-format off
constexpr Model MODELS[] = {
    {ModelId::VELKO, "velko", "VELKO Simulated NVMe SSD", "VSIM0100", 0xFADE, 0xFADE, 0x02564C, 4, true, true, 343, 358, 64,
     4, {{9, 0, 2}, {9, 8, 3}, {12, 0, 0}, {12, 8, 1}},
     5, {{2500, false, 0, 0}, {1800, false, 0, 0}, {1200, false, 0, 0}, {50, true, 2000, 3000}, {5, true, 15000, 30000}}, true, 0x00010400, 0},
    {ModelId::OCP, "ocp", "Simulated OCP Datacenter NVMe SSD", "OSIM0100", 0xFADE, 0xFADE, 0x02564C, 3, false, true, 350, 358, 256,
     2, {{9, 0, 2}, {12, 0, 0}},
     3, {{2500, false, 0, 0}, {1500, false, 0, 0}, {1000, false, 0, 0}}, true, 0x00010400, 1},
    {ModelId::NVME_1_4, "nvme-1.4", "Simulated NVMe 1.4 SSD", "NSIM0100", 0xFADE, 0xFADE, 0x02564C, 1, false, false, 343, 358, 64,
     2, {{9, 0, 2}, {12, 0, 0}},
     1, {{1200, false, 0, 0}}, false, 0x00010400, 0},
    // Blocks of 512 and 4096 bytes, each with 0 to 248 bytes of metadata.
    {ModelId::NVME_2_1, "nvme-2.1", "Simulated NVMe 2.1 SSD", "NSIM0210", 0xFADE, 0xFADE, 0x02564C, 2, false, true, 343, 358, 64,
     64, {{9, 0, 2}, {12, 0, 0}, {9, 8, 3}, {12, 8, 1}, {9, 16, 3}, {12, 16, 1}, {9, 24, 3}, {12, 24, 1},
          {9, 32, 3}, {12, 32, 1}, {9, 40, 3}, {12, 40, 1}, {9, 48, 3}, {12, 48, 1}, {9, 56, 3}, {12, 56, 1},
          {9, 64, 3}, {12, 64, 1}, {9, 72, 3}, {12, 72, 1}, {9, 80, 3}, {12, 80, 1}, {9, 88, 3}, {12, 88, 1},
          {9, 96, 3}, {12, 96, 1}, {9, 104, 3}, {12, 104, 1}, {9, 112, 3}, {12, 112, 1}, {9, 120, 3}, {12, 120, 1},
          {9, 128, 3}, {12, 128, 1}, {9, 136, 3}, {12, 136, 1}, {9, 144, 3}, {12, 144, 1}, {9, 152, 3}, {12, 152, 1},
          {9, 160, 3}, {12, 160, 1}, {9, 168, 3}, {12, 168, 1}, {9, 176, 3}, {12, 176, 1}, {9, 184, 3}, {12, 184, 1},
          {9, 192, 3}, {12, 192, 1}, {9, 200, 3}, {12, 200, 1}, {9, 208, 3}, {12, 208, 1}, {9, 216, 3}, {12, 216, 1},
          {9, 224, 3}, {12, 224, 1}, {9, 232, 3}, {12, 232, 1}, {9, 240, 3}, {12, 240, 1}, {9, 248, 3}, {12, 248, 1}},
     2, {{1500, false, 0, 0}, {900, false, 0, 0}}, true, 0x00020100, 0},
    // The identifiers, firmware slots but one, power states and version are of NVMe.
    {ModelId::SATA, "sata", "Simulated SATA SSD", "TSIM0100", 0xFADE, 0xFADE, 0x02564C, 1, false, true, 343, 358, 64,
     1, {{9, 0, 0}},
     1, {{500, false, 0, 0}}, true, 0x00010400, 0},
    {ModelId::OCP_2_6, "ocp-2.6", "Simulated OCP 2.6 Datacenter NVMe SSD", "OSIM0260", 0xFADE, 0xFADE, 0x02564C, 3, false, true, 350, 358, 256,
     2, {{9, 0, 2}, {12, 0, 0}},
     3, {{2500, false, 0, 0}, {1500, false, 0, 0}, {1000, false, 0, 0}}, true, 0x00020000, 2},
};
// clang-format on

constexpr bool isInOrder() {
    for (size_t i = 0; i < std::size(MODELS); ++i) {
        if (static_cast<size_t>(MODELS[i].id) != i) return false;
    }
    return true;
}
static_assert(isInOrder(), "modelOf() counts the rows");

}  // namespace

const Model& modelOf(ModelId id) {
    return MODELS[static_cast<size_t>(id)];
}

const Model* findModel(const std::string& name) {
    const auto* model =
        std::find_if(std::begin(MODELS), std::end(MODELS), [&](const Model& row) { return row.name == name; });
    return model == std::end(MODELS) ? nullptr : model;
}

}  // namespace features::simulator
