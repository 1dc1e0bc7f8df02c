// See pseudo_names.h.
#include "driver/options/pseudo_names.h"

#include <algorithm>

#include "driver/pass_1_5.h"
#include "driver/pipeline.h"
#include "support/decision.h"

namespace pelorus {

namespace {

void add_passes(std::vector<PSEUDO_NAME>& names, const PASS_LIST& list) {
    for (const std::string& key : pass_keys(list.passes)) {
        names.push_back({"disable", key});
        names.push_back({"debug", "stop_in:" + key});
    }
}

std::vector<PSEUDO_NAME> collect_names() {
    std::vector<PSEUDO_NAME> names = {
#define PSEUDO_NAME(prefix, name, what) {prefix, name},
#include "driver/options/pseudo_names.def"
#undef PSEUDO_NAME
    };
    add_passes(names, pipeline_steps());
    add_passes(names, pass_1_5_passes());
    for (const SITE_ROW& site : decision_sites())
        names.push_back({"debug", std::string("stop_in:") + site.pass});
    return names;
}

} // namespace

const std::vector<PSEUDO_NAME>& pseudo_names() {
    static const std::vector<PSEUDO_NAME> names = collect_names();
    return names;
}

bool is_pseudo_name(std::string_view prefix, std::string_view name) {
    return std::ranges::any_of(pseudo_names(), [&](const PSEUDO_NAME& known) {
        return known.prefix == prefix && known.name == name;
    });
}

} // namespace pelorus
