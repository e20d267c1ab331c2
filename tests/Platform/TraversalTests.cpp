#include "KestrelCore/Platform/Traversal.hpp"

#include "support/FtsTraversal.hpp"
#include "support/TemporaryFolder.hpp"
#include "support/TraversalListing.hpp"

#include <gtest/gtest.h>

namespace KestrelCore {

TEST(Traversal, givesAFolderItsContentAndItsEnd) {
    const TemporaryFolder folder;
    folder.makeFile("a/b/file", "12345");
    EXPECT_EQ(briefListing(openTraversal({folder.path(), {}, {}})),
              (std::vector<std::string>{"0 directory " + folder.path(), "1 directory a", "2 directory b", "3 item file",
                                        "2 end b", "1 end a", "0 end " + folder.path()}));
}

}  // namespace KestrelCore
