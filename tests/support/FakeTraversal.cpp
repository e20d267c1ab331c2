#include "support/FakeTraversal.hpp"

#include <cerrno>
#include <cstddef>
#include <utility>

namespace KestrelCore {

namespace {

using Kind = TraversalEntry::Kind;

class FakeTraversal final : public Traversal {
public:
    FakeTraversal(std::vector<FakeTree::Step> steps, CancellationToken cancellation)
        : steps_{std::move(steps)}, cancellation_{std::move(cancellation)} {}

    const TraversalEntry* next() override {
        while (!isDone_ && next_ < steps_.size()) {
            if (cancellation_.isCancelled()) return finish(ECANCELED);
            const FakeTree::Step& step = steps_[next_++];
            if (step.action) {
                step.action();
                continue;
            }
            if (step.isStop) return finish(step.errorNumber);
            entry_ = {step.kind, step.level, step.name, step.status ? &*step.status : nullptr, step.errorNumber};
            return &entry_;
        }
        return finish(errorNumber_);
    }

    void skipDescendants() override {
        if (next_ == 0 || steps_[next_ - 1].kind != Kind::directory || steps_[next_ - 1].action) return;
        FakeTree::Step& directory = steps_[next_ - 1];
        while (next_ < steps_.size() && (steps_[next_].action || steps_[next_].level > directory.level)) ++next_;
        // A folder that is not entered is not found unreadable either.
        if (next_ == steps_.size()) return;
        steps_[next_].kind = Kind::directoryEnd;
        steps_[next_].errorNumber = 0;
    }

    int errorNumber() const override { return errorNumber_; }

private:
    const TraversalEntry* finish(int errorNumber) {
        isDone_ = true;
        errorNumber_ = errorNumber;
        return nullptr;
    }

    std::vector<FakeTree::Step> steps_;
    CancellationToken cancellation_;
    std::size_t next_ = 0;
    bool isDone_ = false;
    int errorNumber_ = 0;
    TraversalEntry entry_;
};

}  // namespace

FakeTree::FakeTree(std::string root, FileStatus status) {
    if (status.device != 0) device_ = status.device;
    directory(std::move(root), status);
}

FakeTree FakeTree::single(std::string root, FileType type, FileStatus status) {
    FakeTree tree;
    if (status.device != 0) tree.device_ = status.device;
    tree.item(std::move(root), type, status);
    return tree;
}

FakeTree FakeTree::missing(std::string root, int errorNumber) {
    FakeTree tree;
    tree.noStatus(std::move(root), errorNumber);
    return tree;
}

FakeTree& FakeTree::directory(std::string name, FileStatus status) {
    add(Kind::directory, name, completed(status, FileType::directory), 0);
    open_.push_back(std::move(name));
    return *this;
}

FakeTree& FakeTree::end() {
    std::string name = std::move(open_.back());
    open_.pop_back();
    return add(Kind::directoryEnd, std::move(name), std::nullopt, 0);
}

FakeTree& FakeTree::unreadable(int errorNumber) {
    std::string name = std::move(open_.back());
    open_.pop_back();
    return add(Kind::unreadableDirectory, std::move(name), std::nullopt, errorNumber);
}

FakeTree& FakeTree::mountPoint(std::string name, FileStatus status) {
    if (status.device == 0) status.device = device_ + 1;
    return directory(std::move(name), status).end();
}

FakeTree& FakeTree::file(std::string name, FileStatus status) {
    return item(std::move(name), FileType::regular, status);
}

FakeTree& FakeTree::link(std::string name, FileStatus status) {
    return item(std::move(name), FileType::symbolicLink, status);
}

FakeTree& FakeTree::item(std::string name, FileType type, FileStatus status) {
    return add(Kind::item, std::move(name), completed(status, type), 0);
}

FakeTree& FakeTree::noStatus(std::string name, int errorNumber) {
    return add(Kind::noStatus, std::move(name), std::nullopt, errorNumber);
}

FakeTree& FakeTree::error(std::string name, int errorNumber) {
    return add(Kind::error, std::move(name), std::nullopt, errorNumber);
}

FakeTree& FakeTree::stop(int errorNumber) {
    add(Kind::error, {}, std::nullopt, errorNumber);
    steps_.back().isStop = true;
    return *this;
}

FakeTree& FakeTree::then(std::function<void()> action) {
    add(Kind::error, {}, std::nullopt, 0);
    steps_.back().action = std::move(action);
    return *this;
}

TraversalFactory FakeTree::factory() const {
    FakeTree whole = *this;
    while (!whole.open_.empty()) whole.end();
    return [steps = std::move(whole.steps_)](const TraversalOptions& options) {
        return std::make_unique<FakeTraversal>(steps, options.cancellation);
    };
}

FileStatus FakeTree::completed(FileStatus status, FileType type) {
    status.type = type;
    if (status.device == 0) status.device = device_;
    if (status.inode == 0) status.inode = ++lastInode_;
    return status;
}

FakeTree& FakeTree::add(Kind kind, std::string name, std::optional<FileStatus> status, int errorNumber) {
    Step& step = steps_.emplace_back();
    step.kind = kind;
    step.level = static_cast<std::uint32_t>(open_.size());
    step.name = std::move(name);
    step.status = status;
    step.errorNumber = errorNumber;
    return *this;
}

}  // namespace KestrelCore
