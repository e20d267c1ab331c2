#include "KestrelCore/Model/ItemCategory.hpp"

#include "Model/CategoryExtensions.hpp"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <vector>

namespace KestrelCore {

namespace {

struct Category {
    ItemCategory category;
    std::string_view name;
    std::vector<std::string_view> words;
    std::vector<std::string_view> extensions;
};

const std::vector<Category>& table() {
    static const std::vector<Category> categories{
        {ItemCategory::photos,
         "photos",
         {"photo", "photos", "picture", "pictures", "image", "images", "pic", "pics"},
         {"arw", "avif", "bmp", "cr2", "cr3", "dng", "gif", "heic", "heif", "ico", "jfif", "jp2",  "jpeg", "jpg", "jxl",
          "nef", "orf",  "pef", "png", "psd", "raf", "raw", "rw2",  "srw",  "svg", "tif",  "tiff", "webp", "xcf"}},
        {ItemCategory::videos,
         "videos",
         {"video", "videos", "movie", "movies", "film", "films", "clip", "clips"},
         {"3g2", "3gp",  "asf", "avi", "divx", "f4v", "flv",  "m2ts", "m4v",  "mkv", "mov",
          "mp4", "mpeg", "mpg", "mts", "ogv",  "rm",  "rmvb", "vob",  "webm", "wmv"}},
        {ItemCategory::music,
         "music",
         {"music", "song", "songs", "audio", "sound", "sounds"},
         {"aac", "aif", "aiff", "alac", "ape", "dsf", "flac", "m4a", "m4b", "mid", "midi", "mka", "mp3", "oga", "ogg",
          "opus", "wav", "wma", "wv"}},
        {ItemCategory::documents,
         "documents",
         {"document", "documents", "doc", "docs", "text", "texts"},
         {"adoc",  "azw",  "azw3", "csv",  "djvu",     "doc",  "docm", "docx",    "dot", "dotx", "epub", "fb2", "fodt",
          "htm",   "html", "key",  "log",  "markdown", "md",   "mobi", "numbers", "odg", "odp",  "ods",  "odt", "org",
          "pages", "pdf",  "pps",  "ppsx", "ppt",      "pptm", "pptx", "ps",      "rst", "rtf",  "rtfd", "tex", "text",
          "tsv",   "txt",  "vsd",  "vsdx", "xls",      "xlsb", "xlsm", "xlsx",    "xml", "yaml", "yml"}},
        {ItemCategory::archives, "archives", {"archive", "archives"}, {"7z",  "ar",  "br",   "bz2",  "cab", "cpio",
                                                                       "gz",  "lz",  "lz4",  "lzma", "lzo", "rar",
                                                                       "tar", "tbz", "tbz2", "tgz",  "txz", "tzst",
                                                                       "xz",  "z",   "zip",  "zst"}},
        {ItemCategory::code,
         "code",
         {"code", "source", "sources"},
         {"asm",    "bash",   "bat", "c",    "cc",    "cjs",  "clj",  "cmake", "cpp",   "cs",   "css",
          "cts",    "cxx",    "d",   "dart", "erl",   "ex",   "exs",  "f90",   "fish",  "fs",   "go",
          "gradle", "groovy", "h",   "hh",   "hpp",   "hs",   "hxx",  "inl",   "ipynb", "java", "jl",
          "js",     "json",   "jsx", "kt",   "kts",   "less", "lua",  "m",     "map",   "mjs",  "ml",
          "mli",    "mm",     "nim", "nix",  "patch", "php",  "pl",   "pm",    "proto", "ps1",  "py",
          "pyi",    "pyx",    "r",   "rb",   "rs",    "s",    "sass", "scala", "scss",  "sh",   "sql",
          "svelte", "swift",  "tf",  "toml", "ts",    "tsx",  "vb",   "vue",   "zig",   "zsh"}},
        {ItemCategory::applications,
         "applications",
         {"app", "apps", "application", "applications", "program", "programs"},
         {"apk", "app", "appimage", "deb", "exe", "flatpak", "ipa", "msi", "pkg", "rpm", "snap"}},
        {ItemCategory::diskImages,
         "disk images",
         {"disk-image", "disk-images", "diskimage", "diskimages", "disk image", "disk images"},
         {"dmg", "img", "iso", "nrg", "ova", "qcow", "qcow2", "sparseimage", "squashfs", "toast", "vdi", "vhd", "vhdx",
          "vmdk", "wim"}},
        {ItemCategory::databases,
         "databases",
         {"database", "databases", "db"},
         {"accdb", "db", "db3", "dbf", "duckdb", "frm", "ibd", "ldf", "mdb", "mdf", "myd", "myi", "rdb", "realm",
          "sqlite", "sqlite3", "sqlitedb"}},
        {ItemCategory::other, "other", {"other", "others"}, {}},
    };
    return categories;
}

const std::unordered_map<std::string_view, ItemCategory>& byExtension() {
    static const std::unordered_map<std::string_view, ItemCategory> categories = [] {
        std::unordered_map<std::string_view, ItemCategory> result;
        for (const Category& each : table()) {
            for (const std::string_view extension : each.extensions) result.emplace(extension, each.category);
        }
        return result;
    }();
    return categories;
}

}  // namespace

ItemCategory ItemCategories::of(const Text& fileExtension) {
    const Text lowercased = fileExtension.lowercased();
    const auto found = byExtension().find(lowercased.view());
    return found == byExtension().end() ? ItemCategory::other : found->second;
}

std::optional<ItemCategory> ItemCategories::of(const FileRecord& record) {
    if (record.kind() == FileKind::package) return ItemCategory::applications;
    return record.kind() == FileKind::file ? std::optional{of(record.fileExtension())} : std::nullopt;
}

std::vector<std::string_view> extensionsOf(ItemCategory category) {
    return table()[static_cast<std::size_t>(category)].extensions;
}

std::string_view ItemCategories::nameOf(ItemCategory category) {
    return table()[static_cast<std::size_t>(category)].name;
}

std::optional<ItemCategory> ItemCategories::named(std::string_view word) {
    for (const Category& each : table()) {
        if (std::ranges::find(each.words, word) != each.words.end()) return each.category;
    }
    return std::nullopt;
}

}  // namespace KestrelCore
