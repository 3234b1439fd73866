#include "board/simulation.h"

#include "orva_api_stub.h"
#include "orva_comm.h"

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>

namespace chassis {

namespace {

// The bit of a simulated sensor's mask that puts its value in place of the reading.
constexpr std::uint8_t kMaskReading = 1;

// A stub may be set for the board and the sensor, or under its bare name.
std::optional<std::int32_t> read_stub(const Sensor &sensor, std::uint32_t slot) {
    std::uint32_t type = 0;
    std::int32_t value = 0;
    if (!sensor.stub.empty() && ORVA_STUB_GetStubType(sensor.stub.c_str(), &type) == 1 &&
        (ORVA_STUB_GetAgentStubValueAtSlotFru(slot, sensor.number, type, &value, ORVA_STUB_WIDTH_32) == ORVA_OK ||
         ORVA_STUB_GetAgentStubValue(type, &value, ORVA_STUB_WIDTH_32) == ORVA_OK)) {
        return value;
    }
    return std::nullopt;
}

OrvaSimulateSensorReq request_for(const Sensor &sensor, std::uint32_t slot) {
    OrvaSimulateSensorReq request{};
    request.slotId = slot;
    request.sensorType = static_cast<std::uint32_t>(sensor.kind);
    request.sensorNum = sensor.number;
    return request;
}

} // namespace

Simulation::Simulation() {
    root_.sensorTree.compare = ORVA_simulateSensorCompare;
    std::ranges::fill(root_.boardOnline, OrvaBoardOnlinePair{kNoSlot, 0});
    ORVA_simulateSetRootForAgent(&root_);
}

Simulation::~Simulation() {
    ORVA_simulateSetRootForAgent(nullptr);
}

void Simulation::set_stubs(const OrvaWireSimulate &list) {
    root_.stubCount = std::min(std::uint32_t{list.count}, ORVA_SIMULATE_STUBS);
    std::ranges::transform(list.stubs, root_.stubs,
                           [](const auto &entry) { return std::bit_cast<OrvaStubItem>(entry); });
    for (OrvaStubItem &stub : root_.stubs) {
        stub.stubName[ORVA_SIMULATE_STUB_NAME - 1] = '\0';
    }
    ORVA_SimulatePrintLocal(&root_);
}

OrvaWireSimulate Simulation::stubs() const {
    OrvaWireSimulate list{};
    list.count = root_.stubCount;
    std::ranges::transform(root_.stubs, list.stubs,
                           [](const OrvaStubItem &stub) { return std::bit_cast<OrvaWireSimulateStubsEntry>(stub); });
    return list;
}

OrvaSimulateSensorItem *Simulation::item(const OrvaSimulateSensorReq &request) {
    const std::array<std::uint8_t, 4> key = {
        static_cast<std::uint8_t>(request.sensorType), static_cast<std::uint8_t>(request.slotId),
        static_cast<std::uint8_t>(request.keyExtra), static_cast<std::uint8_t>(request.sensorNum)};
    return static_cast<OrvaSimulateSensorItem *>(MIRO_AVL_Find(&root_.sensorTree, key.data()));
}

// Adding a sensor that is there already would keep its value.
void Simulation::set_sensor(const OrvaSimulateSensorReq &request, std::int32_t value) {
    remove_sensor(request);
    ORVA_SimulateSensorAddItem(&root_, &request, value);
    ORVA_SimulatePrintLocal(&root_);
}

bool Simulation::remove_sensor(const OrvaSimulateSensorReq &request) {
    std::int32_t old = 0;
    return ORVA_SimulateSensorDelItem(&root_, &request, &old) == ORVA_OK;
}

SensorListBody Simulation::sensors() const {
    SensorListBody list{};
    auto *link = root_.sensorTree.first;
    auto *next = link != nullptr ? static_cast<OrvaSimulateSensorItem *>(link->self) : nullptr;
    while (next != nullptr && list.count < std::size(list.sensors)) {
        ListedSensor &listed = list.sensors[list.count++];
        std::ranges::copy(next->key, listed.key);
        listed.mask = next->sensorMask;
        listed.value = next->sensorValue;
        next = static_cast<OrvaSimulateSensorItem *>(MIRO_AVL_Next(&next->node));
    }
    return list;
}

void Simulation::set_pairs(const OnlineBody &list) {
    std::ranges::copy(list.pairs, root_.boardOnline);
}

OnlineBody Simulation::pairs() const {
    OnlineBody list{};
    std::ranges::copy(root_.boardOnline, list.pairs);
    return list;
}

std::optional<Override> Simulation::find(const Sensor &sensor, std::uint32_t slot) {
    if (const auto value = read_stub(sensor, slot)) {
        return Override{Source::kStub, *value};
    }
    const OrvaSimulateSensorItem *simulated = item(request_for(sensor, slot));
    if (simulated != nullptr && (simulated->sensorMask & kMaskReading) != 0) {
        return Override{Source::kSimulated, simulated->sensorValue};
    }
    return std::nullopt;
}

std::optional<bool> Simulation::online(std::uint32_t slot) const {
    for (const bool state : {false, true}) {
        std::uint8_t is_set = 0;
        ORVA_STUB_GetStubBrdOnlineStatus(&root_, static_cast<std::uint8_t>(slot), state ? 1 : 0, &is_set);
        if (is_set != 0) {
            return state;
        }
    }
    return std::nullopt;
}

} // namespace chassis
