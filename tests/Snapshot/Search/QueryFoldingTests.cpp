#include "Snapshot/Search/QueryFolding.hpp"

#include <gtest/gtest.h>

namespace KestrelCore {

TEST(QueryFolding, TurkicLanguagesTellTheDottedFromTheDotlessI) {
    for (const char* language : {"tr", "tr-TR", "az-Latn-AZ", "az_AZ"}) {
        EXPECT_EQ(foldedQuery("IMG ISPARTA", language), "ımg ısparta") << language;
        EXPECT_EQ(foldedQuery("İzmir I\u0307zmir ı i", language), "izmir izmir ı i") << language;
        EXPECT_EQ(foldedQuery("STRAẞE ÉCOLE", language), "strasse école") << language;
    }
}

TEST(QueryFolding, EveryOtherLanguageFoldsAsText) {
    for (const char* language : {"en", "de-DE", "trv", ""}) {
        for (const char* text : {"IMG", "İzmir", "Straße"})
            EXPECT_EQ(foldedQuery(text, language), Text{text}.folded()) << language;
    }
}

}  // namespace KestrelCore
