#include "commands/Input.h"

#include "commands/Report.h"
#include "files/InputError.h"

namespace tal::talstore {

namespace {

/// A smaller file is inspected before a thread would have begun.
constexpr std::size_t kSmallestForThread = std::size_t{256} * 1024;

}  // namespace

StorageFile LoadBesideLayout(const std::string& name, const std::string& format, const std::string& layout) try {
    return LoadStorageFile(name, ParseFormat(format), !layout.empty());
} catch (const InputError&) {
    static_cast<void>(LoadLayout(layout));
    throw;
}

Inspection::Inspection(const StorageFile& file, const std::unique_ptr<host::Database>& layout) {
    const bool isNow = file.bytes.size() >= kSmallestForThread && !InfoOf(file.format).needsLayout;
    // Where no thread can be had, it is inspected when the contents are taken, too.
    const std::launch policy = isNow ? std::launch::async | std::launch::deferred : std::launch::deferred;
    contents_ =
        std::async(policy, [&] { return Inspect(file, InfoOf(file.format).needsLayout ? layout.get() : nullptr); });
}

Input::Input(const std::string& name, const CommonOptions& options)
    : file(LoadBesideLayout(name, options.format, options.layout)) {
    Inspection inspection(file, layout);
    layout = LoadLayout(options.layout);
    contents = inspection.Take();
}

}  // namespace tal::talstore
