/// @file
/// The hash table that finds variables by path.
#ifndef TAL_HOST_PATH_TABLE_H
#define TAL_HOST_PATH_TABLE_H

#include <cstddef>
#include <string_view>
#include <vector>

namespace tal::host {

class Variable;

/// Open addressing over the hashes that the variables carry; a look-up allocates nothing.
class PathTable {
public:
    [[nodiscard]] static std::size_t Hash(std::string_view path) { return std::hash<std::string_view>{}(path); }

    /// Replaces the table's content; of two variables with one path the first is found. Throws std::bad_alloc, and
    /// then keeps its former content.
    void Rebuild(const std::vector<Variable*>& variables);

    /// @return the variable, or null when none has this path.
    [[nodiscard]] Variable* Find(std::string_view path) const;

    /// @return how many variables the table was built from.
    [[nodiscard]] std::size_t VariableCount() const { return variableCount_; }

private:
    struct Slot {
        std::size_t hash = 0;
        Variable* variable = nullptr;
    };

    /// @return where the path is, or the free slot where it belongs.
    [[nodiscard]] std::size_t SlotFor(std::string_view path, std::size_t hash) const;

    std::vector<Slot> slots_;  ///< A power of two, at most half of them taken; none before the first Rebuild.
    std::size_t variableCount_ = 0;
};

}  // namespace tal::host

#endif
