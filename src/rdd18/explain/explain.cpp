#include "rdd18/explain/explain.h"

#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/output/VLRDD18Parser.h"

namespace rdd18 {

std::vector<std::string> explainRDD18Frame(std::span<const unsigned char> bytes, bool flags,
                                           Flavour flavour) {
    return VLRDD18Parser(flavour).parseDataWithFaults(bytes, flags).faults;
}

std::vector<std::string> explainRDD18Frame(std::span<const unsigned char> bytes, bool flags,
                                           std::int32_t type) {
    return explainRDD18Frame(bytes, flags, flavourOf(type));
}

std::vector<std::string> explainArriFrame(std::span<const unsigned char> bytes, bool flags) {
    return VLArriANCParser().parseDataWithFaults(bytes, flags).faults;
}

}  // namespace rdd18
