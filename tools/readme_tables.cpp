// readme-tables: the key tables of the README, generated from the code: each flavour's item table
// and the answer of a full ARRI record.
//
//   readme-tables README.md           exits 1 and names the tables that differ from the code
//   readme-tables --update README.md  rewrites the tables in place
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "frame_builder.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/items/internal_sony_items.h"
#include "rdd18/items/internal_standard_items.h"
#include "rdd18/items/internal_varicam_items.h"
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

}  // namespace

int main(int argc, char** argv) {
    const bool update = argc == 3 && std::string_view(argv[1]) == "--update";
    if (argc != 2 && !update) {
        std::cerr << "usage: readme-tables [--update] README.md\n";
        return 2;
    }
    const std::string path = argv[argc - 1];
    std::ifstream in(path);
    if (!in) {
        std::cerr << "readme-tables: can't read " << path << "\n";
        return 2;
    }
    std::stringstream buffer;
    buffer << in.rdbuf();
    std::string readme = buffer.str();

    const std::pair<std::string, std::string> tables[] = {
        {"standard", flavourTable(StandardItemTable{}, 0)},
        {"sony", flavourTable(SonyOwnItemTable{}, 2)},
        {"varicam", flavourTable(VaricamOwnItemTable{}, 1)},
        {"arri", arriTable()},
    };
    int drifted = 0;
    for (const auto& [name, table] : tables) {
        const std::string open = "<!-- keys:" + name + " -->\n",
                          close = "<!-- /keys:" + name + " -->";
        const auto begin = readme.find(open), end = readme.find(close);
        if (begin == std::string::npos || end == std::string::npos || end < begin) {
            std::cerr << "readme-tables: " << path << " lacks the markers of " << name << "\n";
            return 2;
        }
        const auto at = begin + open.size();
        if (readme.compare(at, end - at, table) != 0) {
            std::cerr << "readme-tables: the " << name << " keys differ from the code\n";
            ++drifted;
            readme.replace(at, end - at, table);
        }
    }
    if (drifted && update) {
        std::ofstream(path) << readme;
        return 0;
    }
    if (drifted) std::cerr << "readme-tables: rerun with --update to rewrite them\n";
    return drifted ? 1 : 0;
}
