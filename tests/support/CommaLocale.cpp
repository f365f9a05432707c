#include "support/CommaLocale.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tal::test {

namespace {

constexpr const char* kSource = R"(LC_NUMERIC
decimal_point ","
thousands_sep "."
grouping 3;3
END LC_NUMERIC
)";

// Of its own, because the machine's are in a package that need not be there.
constexpr const char* kCharacterMap = R"(<code_set_name> COMMA
<comment_char> %
<escape_char> /
CHARMAP
<U002C> /x2c COMMA
<U002E> /x2e FULL STOP
END CHARMAP
)";

}  // namespace

CommaLocale::CommaLocale() : before_(std::setlocale(LC_NUMERIC, nullptr)) {
    const TemporaryDirectory directory;
    WriteFile("source", kSource);
    WriteFile("characters", kCharacterMap);
    // It complains about all that is not there and writes the one category that is.
    static_cast<void>(std::system("localedef -c --no-archive -f ./characters -i ./source ./comma >log 2>&1"));
    setenv("LOCPATH", directory.Path().c_str(), 1);
    std::setlocale(LC_NUMERIC, "comma");
    unsetenv("LOCPATH");
}

CommaLocale::~CommaLocale() {
    std::setlocale(LC_NUMERIC, before_.c_str());
}

bool CommaLocale::IsActive() const {
    char text[8];
    std::snprintf(text, sizeof text, "%.1f", 1.5);
    return std::strcmp(text, "1,5") == 0;
}

}  // namespace tal::test
