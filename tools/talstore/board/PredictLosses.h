/// @file
/// What any file that a board with one layout stores loses in a board with another one, without a file.
///
/// What the format itself does not bring back, whatever the layout, is no loss of the change: reals beyond seven digits
/// in a document, or what follows a nested object in a secure file.
#ifndef TALSTORE_PREDICT_LOSSES_H
#define TALSTORE_PREDICT_LOSSES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ReferenceHost.h"
#include "formats/StoredContents.h"

namespace tal::talstore {

enum class Certainty {
    No,
    Maybe,  ///< It depends on the values.
    Yes
};

struct PredictedLoss {
    std::string path;
    const char* kind;  ///< kIgnored, or the name of an Outcome.
    bool isCertain;    ///< It happens to every value; otherwise to some and not to others.
    std::string reason;
};

struct Prediction {
    Format format;
    bool isReadable = true;  ///< False when names make a document that no board can read: nothing is lost then.
    /// Whether the retrieve fails where that of the old layout does not.
    Certainty fails = Certainty::No;
    std::vector<PredictedLoss> losses;  ///< Of the new layout's variables in tree order, then what is ignored.
    std::vector<std::string> kept;      ///< Variables of the new layout that lose nothing that is in the file.
    std::size_t absentCount = 0;        ///< Variables of the new layout that no file has: they take their defaults.
};

/// @param before, after  The layouts; their values are overwritten.
[[nodiscard]] Prediction PredictLosses(Format format, std::uint32_t channel, host::Database& before,
                                       host::Database& after);

}  // namespace tal::talstore

#endif
