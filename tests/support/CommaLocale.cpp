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

}  // namespace

CommaLocale::CommaLocale() : before_(std::setlocale(LC_NUMERIC, nullptr)) {
    const TemporaryDirectory directory;
    WriteFile("comma.source", kSource);
    // It complains about the categories that are not there and writes the one that is.
    static_cast<void>(std::system("localedef -c --no-archive -i ./comma.source ./comma >localedef.log 2>&1"));
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
