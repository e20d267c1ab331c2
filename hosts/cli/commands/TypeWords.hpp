#pragma once

#include "KestrelCore/Model/FileKind.hpp"
#include "KestrelCore/Model/ItemCategory.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace KestrelCLI {

/// What `search --type` takes: a kind of item, or what people say that a file is.
using TypeOfItem = std::variant<KestrelCore::FileKind, KestrelCore::ItemCategory>;

/// The type that a word means, in any case ("Film", "folders", "disk-images"); empty for any other word.
[[nodiscard]] std::optional<TypeOfItem> typeNamed(std::string_view word);

/// One name for each type, as `--type` takes it: "photos", …, "disk-images", …, "files", "folders", "links".
[[nodiscard]] std::vector<std::string> typeNames();

/// The name of the type that was probably meant by a word with a slip in it ("vidoe"); empty where none is near.
[[nodiscard]] std::optional<std::string> typeNameNear(std::string_view word);

/// Whether files are told by the word as their extension ("pdf", ".JPG"), as far as one is known.
[[nodiscard]] bool isKnownExtension(std::string_view word);

}  // namespace KestrelCLI
