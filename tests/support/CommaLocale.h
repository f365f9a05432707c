/// A locale whose numbers have a comma where documents need a point.
#ifndef TAL_TEST_COMMA_LOCALE_H
#define TAL_TEST_COMMA_LOCALE_H

#include <string>

#include "support/Files.h"

namespace tal::test {

/// Makes the comma the decimal separator of the process while it lives. The locale is made on the spot with localedef.
///
///     const CommaLocale comma;
///     ASSERT_TRUE(comma.IsActive());
///
/// Created after a TemporaryDirectory, it leaves nothing in it: it works in one of its own.
class CommaLocale {
public:
    CommaLocale();
    ~CommaLocale();
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    /// Whether printf shows 1.5 as "1,5" by now.
    [[nodiscard]] bool IsActive() const;

private:
    std::string before_;
};

}  // namespace tal::test

#endif
