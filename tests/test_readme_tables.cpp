// The key tables of the README are generated from the code: each flavour's item table and the
// answer of a full ARRI record. This test fails when the README drifts from the code; run it with
// VELMORA_UPDATE_README=1 to rewrite the tables in place.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "frame_builder.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/items/sony_items.h"
#include "rdd18/items/standard_items.h"
#include "rdd18/items/varicam_items.h"
#include "rdd18/output/VLRDD18Parser.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

/// The kind of a value as the README states it: "unsigned int", "array of double", ...
std::string kindOf(const Value& v) {
    if (v.isNumber()) return std::string(numberKindName(v.number().kind()));
    if (v.isString()) return "string";
    if (v.isData()) return "data";
    if (v.isArray()) return "array of " + (v.array().empty() ? "values" : kindOf(v.array()[0]));
    std::string text = "dictionary {";
    for (const auto& [key, value] : v.dictionary())
        text += " \"" + key + "\": " + kindOf(value) + ",";
    text.back() = ' ';
    return text + "}";
}

/// A valid payload of a row's type: one element for the counted vectors, zeros otherwise.
template <class T>
Bytes samplePayload() {
    if constexpr (std::is_same_v<T, std::vector<Rational>>) return countedVector(1, 8, Bytes(8));
    if constexpr (std::is_same_v<T, std::vector<HalfFloat>>) return countedVector(1, 2, Bytes(2));
    return Bytes(8);
}

template <class... Rows>
std::string flavourTable(ItemTable<Rows...>, std::int32_t type) {
    Bytes items;
    ((items = items + rdd18Item(Rows::ItemType::Tag().first, Rows::ItemType::Tag().second,
                                samplePayload<typename Rows::ItemType::PayloadType>())),
     ...);
    const Dictionary answer =
        VLRDD18Parser(type).parseData(FrameBuilder().rdd18Stream(rdd18Pack(items)).bytes());
    std::string table = "| Tag | Key | Value |\n|---|---|---|\n";
    char tag[16];
    ((std::snprintf(tag, sizeof tag, "0x%02X 0x%02X", Rows::ItemType::Tag().first,
                    Rows::ItemType::Tag().second),
      table += "| " + std::string(tag) + " | `" + std::string(Rows::name()) + "` | " +
               kindOf(answer.at(Rows::name())) + " |\n"),
     ...);
    return table;
}

std::string arriTable() {
    ArriHeaderBuilder record;
    record.u32(0x0378, 1000).u32(0x0384, 2000);  // lens data present; VFX words 0 are present too
    const Dictionary answer = VLArriANCParser().parseData(
        FrameBuilder().arriStream(arriItem(kArriMetadataKey, record.bytes())).bytes());
    std::string table = "| Key | Value |\n|---|---|\n";
    for (const auto& [key, value] : answer) table += "| `" + key + "` | " + kindOf(value) + " |\n";
    return table;
}

TEST(Readme, KeyTablesMatchTheCode) {
    const std::string path = std::string(VELMORA_SOURCE_DIR) + "/README.md";
    std::ifstream in(path);
    ASSERT_TRUE(in) << path;
    std::stringstream buffer;
    buffer << in.rdbuf();
    std::string readme = buffer.str();

    const std::pair<std::string, std::string> tables[] = {
        {"standard", flavourTable(StandardItemTable{}, 0)},
        {"sony", flavourTable(SonyOwnItemTable{}, 2)},
        {"varicam", flavourTable(VaricamOwnItemTable{}, 1)},
        {"arri", arriTable()},
    };
    bool drifted = false;
    for (const auto& [name, table] : tables) {
        const std::string open = "<!-- keys:" + name + " -->\n",
                          close = "<!-- /keys:" + name + " -->";
        const auto begin = readme.find(open), end = readme.find(close);
        ASSERT_NE(begin, std::string::npos) << "README lacks " << open;
        ASSERT_NE(end, std::string::npos) << "README lacks " << close;
        const auto at = begin + open.size();
        if (readme.compare(at, end - at, table) != 0) {
            drifted = true;
            readme.replace(at, end - at, table);
        }
    }
    if (drifted && std::getenv("VELMORA_UPDATE_README")) {
        std::ofstream(path) << readme;
        return;
    }
    EXPECT_FALSE(drifted)
        << "README key tables differ from the code; rerun with VELMORA_UPDATE_README=1";
}

}  // namespace
