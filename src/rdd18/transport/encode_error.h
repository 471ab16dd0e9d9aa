// The one exception of the writer: an answer (or a part of one) that can't be written so that a
// parse gives it back.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "rdd18/export.h"
#include "rdd18/transport/fault.h"

namespace rdd18 {

/// Thrown by the writers (`encodeRDD18`, `arri::encodeArri` and the steps below them) for a
/// value they refuse. It carries the refusal as a code of the writer's layer (900..), the key
/// it is about ("CameraISOSensitivityItem", "CameraColorMatrixItem[2].den", "lensModel"; empty
/// for the answer as a whole) and, in `what()`, one line that names the key and says why. A
/// writer that throws has written nothing the caller can see.
class VELMORA_RDD18_EXPORT EncodeError : public std::runtime_error {
  public:
    EncodeError(FaultCode code, std::string key, const std::string& why)
        : EncodeError(Fault{.code = code}, std::move(key), why) {}
    /// `fault` carries the code and, where the code says, the item's tag, `expected`, `found`.
    EncodeError(const Fault& fault, std::string key, const std::string& why);

    FaultCode code() const noexcept { return fault_.code; }
    const std::string& key() const noexcept { return key_; }
    /// The refusal as a fault (code, the item's tag where the key names one, `expected` and
    /// `found` where the code says), for a `FaultSink`.
    const Fault& fault() const noexcept { return fault_; }

  private:
    Fault fault_;
    std::string key_;
};

}  // namespace rdd18
