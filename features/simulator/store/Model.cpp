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
     5, {{2500, false, 0, 0}, {1800, false, 0, 0}, {1200, false, 0, 0}, {50, true, 2000, 3000}, {5, true, 15000, 30000}}, true},
    {ModelId::OCP, "ocp", "Simulated OCP Datacenter NVMe SSD", "OSIM0100", 0xFADE, 0xFADE, 0x02564C, 3, false, true, 350, 358, 256,
     2, {{9, 0, 2}, {12, 0, 0}},
     3, {{2500, false, 0, 0}, {1500, false, 0, 0}, {1000, false, 0, 0}}, true},
    {ModelId::NVME_1_4, "nvme-1.4", "Simulated NVMe 1.4 SSD", "NSIM0100", 0xFADE, 0xFADE, 0x02564C, 1, false, false, 343, 358, 64,
     2, {{9, 0, 2}, {12, 0, 0}},
     1, {{1200, false, 0, 0}}, false},
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
