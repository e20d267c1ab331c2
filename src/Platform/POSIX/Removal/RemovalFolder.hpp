#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/Removal/MountsNow.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

/// A new folder beside items that are to be removed, which only this user may enter: what is moved there nobody else
/// can exchange. It is made when it is first needed, and goes when this object does.
class RemovalFolder {
public:
    /// `parent` is the open folder of the items, and must outlive this.
    explicit RemovalFolder(int parent) : parent_{parent} {}
    RemovalFolder(const RemovalFolder&) = delete;
    RemovalFolder& operator=(const RemovalFolder&) = delete;
    ~RemovalFolder() { (void)remove(); }

    /// Draws its name, which nobody else can know, unless that was done. 0, or the errno value; nothing is touched.
    [[nodiscard]] int drawName();
    /// Makes the folder, unless it is there. False when it is not to be had, or would not be this user's alone.
    [[nodiscard]] bool make();

    [[nodiscard]] int descriptor() const { return folder_.get(); }
    [[nodiscard]] const std::string& name() const { return name_; }

    /// Takes the folder away; the next one has another name. A sentence that names it when it stays all the same.
    [[nodiscard]] std::optional<Text> remove();
    /// Leaves it to the item in it that can't be put back.
    void abandon();

private:
    int parent_;
    std::string name_;
    FileDescriptor folder_;
    bool isThere_ = false;
    bool isPrivate_ = false;
};

/// What removals from one folder share. What must be asked for each is asked for each all the same.
struct RemovalBatch {
    explicit RemovalBatch(int parent) : hiding{parent} {}

    RemovalFolder hiding;
    MountsNow mounts;
};

/// Puts a name that nobody else can know into `name`. 0, or the errno value.
[[nodiscard]] int drawRemovalName(std::string& name);
/// Whether a name is one of those. After a crash the item still stands there.
[[nodiscard]] bool isRemovalName(std::string_view name);

}  // namespace KestrelCore
