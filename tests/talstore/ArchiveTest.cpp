/// Files in archives, whole and damaged ones.

#include "files/Archive.h"
#include "support/CaseStep.h"

#include <cstdlib>
#include <vector>

#include "Support.h"
#include "files/InputError.h"

namespace tal::test {

namespace {

using talstore::Archive;
using talstore::ArchiveMember;

/// "name: bytes" or "name! problem" for each member, "! problem" when the archive cannot be read any further.
std::vector<std::string> Members(const std::string& name) {
    std::vector<std::string> members;
    try {
        Archive archive(name);
        while (const std::optional<ArchiveMember> member = archive.Next()) {
            members.push_back(member->name + (member->problem.empty() ? ": " + member->bytes : "! " + member->problem));
        }
    } catch (const talstore::InputError& error) {
        members.push_back(std::string("! ") + error.what());
    }
    return members;
}

bool TellsAProblem(const std::vector<std::string>& members) {
    return std::any_of(members.begin(), members.end(),
                       [](const std::string& member) { return member.find("! ") != std::string::npos; });
}

class Archives : public testing::TestWithParam<const char*> {
protected:
    Archives() {
        WriteFile("a", "first");
        WriteFile("b", "second");
        const std::string make =
            name_.back() == 'p' ? "python3 -c \"import zipfile; z = zipfile.ZipFile('" + name_ +
                                      "', 'w', zipfile.ZIP_DEFLATED); z.write('a'); z.write('b')\""
                                : "tar -b 1 -c" + std::string(name_.back() == 'z' ? "z" : "") + "f " + name_ + " a b";
        EXPECT_EQ(std::system(make.c_str()), 0);
        bytes_ = ReadFile(name_);
    }

    /// Whether the byte is one of those that say in the directory of a .zip whether a member is a file.
    [[nodiscard]] bool IsInAttributes(std::size_t byte) const {
        constexpr std::string_view kEntry("PK\1\2", 4);
        constexpr std::size_t kAttributes = 38;
        const std::size_t entry = bytes_.rfind(kEntry, byte);
        return name_ == "x.zip" && entry != std::string::npos && byte - entry >= kAttributes &&
               byte - entry < kAttributes + 4;
    }

    TemporaryDirectory directory_;
    const std::string name_ = GetParam();
    std::string bytes_;
};

TEST_P(Archives, GiveTheirMembers) {
    EXPECT_THAT(Members(name_), testing::ElementsAre("a: first", "b: second"));
}

TEST_P(Archives, CutAnywhereGiveMembersOrSayWhatIsWrong) {
    for (std::size_t length = 0; length < bytes_.size(); ++length) {
        WriteFile("cut-" + name_, bytes_.substr(0, length));
        const std::vector<std::string> members = Members("cut-" + name_);
        // A tar archive has a member per so many bytes and needs nothing at its end.
        const bool isAllowedToEnd = name_ == "x.tar" && length % 512 == 0;
        EXPECT_TRUE(TellsAProblem(members) || isAllowedToEnd || members.size() == 2) << "after " << length << " bytes";
    }
}

TEST_P(Archives, WithAnyByteChangedGiveBothMembersOrSayWhatIsWrong) {
    for (std::size_t byte = 0; byte < bytes_.size(); byte += CaseStep()) {
        std::string changed = bytes_;
        changed[byte] = static_cast<char>(changed[byte] ^ 0x41);
        WriteFile("changed-" + name_, changed);
        const std::vector<std::string> members = Members("changed-" + name_);
        EXPECT_TRUE(TellsAProblem(members) || members.size() >= 2 || members.empty() || IsInAttributes(byte))
            << "byte " << byte;
        for (const std::string& member : members) {
            EXPECT_FALSE(testing::Matches(testing::EndsWith("! "))(member)) << "byte " << byte;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, Archives, testing::Values("x.tar", "x.tgz", "x.zip"),
                         [](const auto& name) { return std::string(name.param).substr(2); });

}  // namespace

}  // namespace tal::test
