#include "rdd18/diagnostics/diagnostics.h"

#include <fstream>

namespace rdd18 {

void saveBinaryDataToDisk(const std::vector<unsigned char>& data, const std::string& path) {
    std::ofstream file(path, std::ios::out | std::ios::binary);
    file.write(reinterpret_cast<const char*>(data.data()),
               static_cast<std::streamsize>(data.size()));
}

}  // namespace rdd18

extern "C" const double VelmoraRDD18VersionNumber = 1.0;
extern "C" const unsigned char VelmoraRDD18VersionString[] =
    "@(#)PROGRAM:VelmoraRDD18  PROJECT:VelmoraRDD18-1\n";
