/// PlanCheck: whether a plan that comes from outside makes sense.
#pragma once

#include <string>

#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

/// What is wrong with a plan, as far as that shows without its cloud; empty if nothing is.
std::string faultOf(const RunPlan& plan);

} // namespace Tilewright::Io
