#include "Storage/History/ProvenanceText.hpp"

#include "JSON/JSONFields.hpp"
#include "JSON/MemberWriter.hpp"
#include "JSON/WholeObject.hpp"

namespace KestrelCore {

std::string provenanceText(const GenerationProvenance& provenance) {
    std::string out = "{";
    MemberWriter writer{out};
    if (!provenance.leftOut.empty()) {
        writer.array("leftOut", provenance.leftOut,
                     [&](const Text& each) { JSONFormat::appendString(out, each.view()); });
    }
    if (provenance.crossesMounts) writer.member("crossesMounts", std::optional{true});
    if (provenance.source.name) writer.member("sourceName", provenance.source.name->view());
    if (provenance.source.host) writer.member("sourceHost", provenance.source.host->view());
    return out == "{" ? std::string{} : out + "}";
}

namespace {

using namespace JSONFields;

std::vector<Text> readTexts(json::value value) {
    json::array array;
    if (value.get_array().get(array) != simdjson::SUCCESS) malformed("leftOut", simdjson::INCORRECT_TYPE);
    std::vector<Text> texts;
    for (auto element : array) {
        std::string_view text;
        if (const auto error = element.get_string().get(text)) malformed("leftOut", error);
        texts.emplace_back(text);
    }
    return texts;
}

std::optional<Text> textOf(const Field<std::string_view>& field) {
    return field.state == FieldState::sound ? std::optional<Text>{field.value} : std::nullopt;
}

}  // namespace

GenerationProvenance readProvenance(std::string_view text) {
    GenerationProvenance provenance;
    if (text.empty()) return provenance;
    checkWholeObject(text);
    TextReader reader;
    reader.value(text, "", [&](json::value& value) {
        json::object object;
        if (const auto error = value.get_object().get(object)) malformed("", error);
        Field<bool> crossesMounts;
        Field<std::string_view> name;
        Field<std::string_view> host;
        readMembers(object, "", [&](std::string_view key, json::value member) {
            if (key == "leftOut") {
                provenance.leftOut = readTexts(member);
                return true;
            }
            if (key == "crossesMounts") return readFirst(member, crossesMounts);
            if (key == "sourceName") return readFirst(member, name);
            return key == "sourceHost" && readFirst(member, host);
        });
        Requirements wants{""};
        wants.optional("crossesMounts", crossesMounts).optional("sourceName", name).optional("sourceHost", host);
        if (wants.error()) throw *wants.error();
        provenance.crossesMounts = crossesMounts.state == FieldState::sound && crossesMounts.value;
        provenance.source = {.name = textOf(name), .host = textOf(host)};
    });
    return provenance;
}

}  // namespace KestrelCore
