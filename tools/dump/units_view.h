// The interpreted view of a frame in the tool: the "units" section beside (or instead of) the raw
// answers, and its text for people ("F2.8", "180 deg", "50 mm", "3.2 m").
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "rdd18/interpret/camera_model.h"
#include "rdd18/platform/value.h"

namespace rdd18::dump {

/// Whether and how a report shows the interpreted view.
enum class UnitsView { Off, Beside, Only };

/// Name of the section that holds the interpreted view.
inline constexpr const char* kUnitsSection = "units";

/// The "units" section: the dictionary form of each answer's model, under "rdd18" and "arri" for
/// the answers given (an empty dictionary when a parser found nothing it can interpret).
Dictionary unitsSection(const std::optional<Dictionary>& rdd18,
                        const std::optional<Dictionary>& arri);

/// The model of one frame over both answers: RDD 18 values first, ARRI values where RDD 18 has
/// none.
interpret::CameraModel frameModel(const std::optional<Dictionary>& rdd18,
                                  const std::optional<Dictionary>& arri);

/// A number with its unit, for people: "F2.8", "T3", "50 mm", "3.2 m", "23.976 Hz", "180 deg",
/// "1/47.95 s", "5600 K", "ND0.6". At most as many decimals as the unit needs, no trailing zeros.
std::string unitText(interpret::Unit unit, double value);

/// One line of the table form of the section.
struct TextRow {
    std::string key;
    std::string value;
    std::string kind;
};

/// The table rows of a "units" section under `prefix`: keys joined with dots, numbers written by
/// `unitText`, texts unquoted, an empty answer as {}.
std::vector<TextRow> unitsTextRows(const std::string& prefix, const Value& section);

}  // namespace rdd18::dump
