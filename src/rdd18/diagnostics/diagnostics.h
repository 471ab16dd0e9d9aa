// A byte dump to a file and the version symbols. Nothing in the library uses them.
#pragma once

#include <string>
#include <vector>

#include "rdd18/export.h"

namespace rdd18 {

/// Writes all bytes of `data` to the file at `path`, creating it or cutting it to length 0 first
/// (plain write mode, no binary or append flag). Reports nothing: if the file can't be opened the
/// call does nothing and returns normally; a failed write goes unnoticed. Throws only on
/// allocation failure.
VELMORA_RDD18_EXPORT void saveBinaryDataToDisk(const std::vector<unsigned char>& data,
                                               const std::string& path);

}  // namespace rdd18

/// The library version as a number: 1.0. The version macros are in rdd18/version.h.
extern "C" VELMORA_RDD18_EXPORT const double VelmoraRDD18VersionNumber;
/// The version text "@(#)PROGRAM:VelmoraRDD18  PROJECT:VelmoraRDD18-1" and a line feed,
/// zero-terminated.
extern "C" VELMORA_RDD18_EXPORT const unsigned char VelmoraRDD18VersionString[];
