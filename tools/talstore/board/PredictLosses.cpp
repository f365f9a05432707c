#include "board/PredictLosses.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string_view>

#include "board/Outlook.h"
#include "board/ProviderSession.h"
#include "board/Restore.h"
#include "formats/StorageFile.h"

namespace tal::talstore {

namespace {

/// What the library stores for the layout. Which paths a file has does not depend on the values, unless they make a
/// document that cannot be read; so all of them are empty.
StorageFile FileOf(const ProviderSession& session, Format format, host::Database& layout) {
    layout.SetAllToZero();
    return {"file", session.Store(layout).bytes.value_or(""), format};
}

/// Forgets what would be lost without the change, too.
void LeaveOutWhatIsAlwaysLost(Outlook& outlook, const Outlook& unchanged) {
    std::set<std::string> paths = unchanged.astray;
    for (const PredictedLoss& loss : unchanged.losses) {
        if (unchanged.twice.count(loss.path) == 0) {
            paths.insert(loss.path);
        }
    }
    const auto isAlwaysLost = [&](const PredictedLoss& loss) { return paths.count(loss.path) != 0; };
    outlook.losses.erase(std::remove_if(outlook.losses.begin(), outlook.losses.end(), isAlwaysLost),
                         outlook.losses.end());
    if (unchanged.fails != Certainty::No) {
        outlook.fails = unchanged.fails == Certainty::Yes ? Certainty::No : std::min(outlook.fails, Certainty::Maybe);
    }
}

/// Of several values for one variable the last one that it takes counts.
void AddWhatHasBecomeTwice(Outlook& outlook, const Outlook& unchanged) {
    for (const std::string& path : outlook.twice) {
        if (unchanged.twice.count(path) == 0) {
            outlook.Add(path, {{Outcome::Changed, false, "it takes what is stored for another variable"}});
        }
    }
}

/// @return none when no board could read the file.
std::optional<Outlook> OutlookOfChange(Format format, std::uint32_t channel, host::Database& before,
                                       host::Database& after) {
    const ProviderSession session(ProviderOf(format), 0, channel, "file");
    const StorageFile file = FileOf(session, format, before);
    const StoredContents contents = Inspect(file, nullptr);
    if (!contents.isWhole) {
        return std::nullopt;
    }
    Outlook outlook = OutlookOfItems(session, file, contents, before, after);
    const Outlook unchanged = OutlookOfItems(session, file, contents, before, before);
    LeaveOutWhatIsAlwaysLost(outlook, unchanged);
    AddWhatHasBecomeTwice(outlook, unchanged);
    return outlook;
}

void Conclude(Prediction& prediction, Outlook outlook, const host::Database& after) {
    std::set<std::string> lostPaths;
    for (PredictedLoss& loss : outlook.losses) {
        lostPaths.insert(loss.path);
        loss.isCertain = loss.isCertain && outlook.twice.count(loss.path) == 0;
    }
    std::map<std::string, std::size_t> order;
    VisitVariables(after, [&](const host::Variable& variable, bool /*isWritable*/) {
        order.emplace(variable.Path(), order.size());
        const bool isReached = outlook.reached.count(&variable) != 0;
        if (isReached && lostPaths.count(variable.Path()) == 0) {
            prediction.kept.push_back(variable.Path());
        }
        prediction.absentCount += isReached ? 0 : 1;
    });
    const auto placeOf = [&](const PredictedLoss& loss) {
        const auto found = order.find(loss.path);
        return loss.kind == std::string_view(kIgnored) || found == order.end() ? order.size() : found->second;
    };
    std::stable_sort(outlook.losses.begin(), outlook.losses.end(),
                     [&](const PredictedLoss& a, const PredictedLoss& b) { return placeOf(a) < placeOf(b); });
    prediction.fails = outlook.fails;
    prediction.losses = std::move(outlook.losses);
}

}  // namespace

Prediction PredictLosses(Format format, std::uint32_t channel, host::Database& before, host::Database& after) {
    Prediction prediction;
    prediction.format = format;
    std::optional<Outlook> outlook =
        InfoOf(format).looksItemsUp ? OutlookOfChange(format, channel, before, after) : OutlookOfImage(before, after);
    prediction.isReadable = outlook.has_value();
    if (outlook) {
        Conclude(prediction, std::move(*outlook), after);
    }
    return prediction;
}

}  // namespace tal::talstore
