// The named result codes and reasons of the public headers. The rows are made from the headers at build time.
#include "code_table.h"

#include "orva_comm.h"
#include "orva_diag.h"
#include "orva_drvadp_comm.h"
#include "orva_elabel_comm.h"
#include "orva_file.h"
#include "orva_list.h"
#include "orva_perftrace_comm.h"
#include "orva_sensor.h"
#include "orva_simulate_comm.h"
#include "orva_types.h"
#include "orva_util.h"

#include <algorithm>

namespace inspect {

namespace {

constexpr CodeName kCodes[] = {
#define CODE(name, header, functions) {name, #name, header, functions},
#define REASON(name, text)
#include "code_rows.inc"
#undef CODE
#undef REASON
};

constexpr ReasonName kReasons[] = {
#define CODE(name, header, functions)
#define REASON(name, text) {name, #name, text},
#include "code_rows.inc"
#undef CODE
#undef REASON
};

consteval bool every_code_is_returned() {
    return std::ranges::all_of(kCodes, [](const CodeName &row) { return row.code <= 1 || *row.functions != '\0'; });
}
static_assert(every_code_is_returned());

consteval bool reasons_ascend() {
    return std::ranges::is_sorted(kReasons, std::ranges::less_equal{}, &ReasonName::reason);
}
static_assert(reasons_ascend());

} // namespace

std::span<const CodeName> code_names() {
    return kCodes;
}

const ReasonName *find_reason(std::uint32_t reason) {
    const auto *const row = std::ranges::find(kReasons, reason, &ReasonName::reason);
    return row != std::end(kReasons) ? row : nullptr;
}

} // namespace inspect
