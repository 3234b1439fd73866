// Rules that go by part codes and labels: the 550 W model, the calibration thresholds, the opposite power-good
// modules, the airflow check. Input: length of the item, item, label.
#include "fuzz_input.h"
#include "orva_power_fan_cfg.h"
#include "orva_sensor.h"
#include "platform_double.h"

namespace {

void check(const std::string &item, const std::string &label) {
    const auto itemCopy = fuzz::exact_copy(item);
    const auto labelCopy = fuzz::exact_copy(label);
    const std::string base = item.substr(0, item.find('-'));
    REQUIRE(ORVA_CFG_Is550WPower(1, 2, itemCopy.get()) == (base == "47068HWL" ? 1u : 0u));
    const OrvaCalThreshold threshold = ORVA_GetCalThresholdPara(0x1800C, itemCopy.get());
    REQUIRE((threshold.first != 0) == (base == "51730964" || base.empty() || base.size() > 31));
    REQUIRE(ORVA_IsOppositePgPower(itemCopy.get()) == (item == "07465KWD" ? 1u : 0u));
    const std::uint32_t windCheck = ORVA_IsWindCheckPower(itemCopy.get(), labelCopy.get());
    REQUIRE(windCheck <= 1);
    REQUIRE(windCheck == 0 || (base == "47062MZN" && label.find("Manufactured=") != std::string::npos));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    orva_test::reset_platform();
    fuzz::Front front(data, size);
    const std::size_t itemLength = front.byte() % 64;
    const std::string item = front.text(itemLength);
    const std::string label = front.rest_text();
    check(item, label);
    check("47062MZN-" + item, "Manufactured=" + label);
    return 0;
}
