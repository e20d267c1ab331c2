#include "KestrelCore/Model/ScanScope.hpp"

#include <utility>

namespace KestrelCore {

namespace {

Text defaultDisplayName(const URL& root) {
    Text name = root.lastPathComponent();
    return name.isEmpty() ? Text{"Macintosh HD"} : name;
}

}  // namespace

ScanScope::ScanScope(const URL& root, const std::optional<Text>& displayName,
                     const std::optional<Text>& volumeIdentifier)
    : root{root.standardized()}, displayName{displayName ? *displayName : defaultDisplayName(root)},
      volumeIdentifier{volumeIdentifier ? *volumeIdentifier : root.path()} {}

ScanScope ScanScope::stored(URL root, Text displayName, Text volumeIdentifier) {
    ScanScope scope{root, displayName, volumeIdentifier};
    scope.root = std::move(root);
    return scope;
}

}  // namespace KestrelCore
