// The one exception of the parsers' inner layers.
#pragma once

#include "rdd18/export.h"

namespace rdd18 {

/// A broken stream or a payload its type can't hold. Carries nothing: the fault sink, when the
/// caller gave one (see fault.h), has heard the reason before it is thrown.
class VELMORA_RDD18_EXPORT ParsingError {};

}  // namespace rdd18
