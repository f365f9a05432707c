#include "formats/KeptTexts.h"

#include "Support.h"

namespace tal::test {

namespace {

using talstore::KeptTexts;
using talstore::PathIndex;
using talstore::TextList;
using testing::ElementsAre;

TEST(KeptTexts, StayWhenTheyAreMoved) {
    KeptTexts texts;
    const talstore::KeptText kept = texts.Keep(std::string(100, 'x'));
    const KeptTexts moved = std::move(texts);
    EXPECT_EQ(kept, std::string(100, 'x'));
}

TEST(KeptTexts, AreJoined) {
    KeptTexts texts;
    EXPECT_EQ(texts.Join("R/O", "/", "a"), "R/O/a");
    EXPECT_EQ(texts.Join("", "", ""), "");
}

TEST(KeptTexts, AreCopiedToAString) {
    KeptTexts texts;
    const std::string copy = texts.Keep("text");
    EXPECT_EQ(copy, "text");
}

TEST(KeptTexts, AreKeptInLists) {
    KeptTexts texts;
    const TextList list = texts.KeepList({texts.Keep("a"), texts.Keep("b")});
    EXPECT_THAT(list, ElementsAre("a", "b"));
    EXPECT_EQ(list[1], "b");
    EXPECT_TRUE(texts.KeepList({}).empty());
}

struct Element {
    std::string path;
};

TEST(PathIndex, FindsEveryElementByItsPath) {
    std::vector<Element> elements;
    PathIndex index;
    for (std::size_t i = 0; i < 1000; ++i) {
        elements.push_back({"R/O/" + std::to_string(i)});
        EXPECT_EQ(index.Add(elements, i), PathIndex::kNotFound);
    }
    for (std::size_t i = 0; i < elements.size(); ++i) {
        EXPECT_EQ(index.Find(elements, elements[i].path), i);
    }
}

TEST(PathIndex, KeepsTheFirstElementOfAPath) {
    const std::vector<Element> elements = {{"R/O/a"}, {"R/O/b"}, {"R/O/a"}};
    PathIndex index;
    EXPECT_EQ(index.Add(elements, 0), PathIndex::kNotFound);
    EXPECT_EQ(index.Add(elements, 1), PathIndex::kNotFound);
    EXPECT_EQ(index.Add(elements, 2), 0U);
    EXPECT_EQ(index.Find(elements, "R/O/a"), 0U);
}

TEST(PathIndex, FindsNoPathThatHasNotBeenAdded) {
    const std::vector<Element> elements = {{"R/O/a"}};
    PathIndex index;
    EXPECT_EQ(index.Find(elements, "R/O/a"), PathIndex::kNotFound);
    index.Add(elements, 0);
    EXPECT_EQ(index.Find(elements, "R/O/b"), PathIndex::kNotFound);
}

}  // namespace

}  // namespace tal::test
