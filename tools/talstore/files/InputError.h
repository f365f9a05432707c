/// @file
/// What the user gave cannot be used.
#ifndef TALSTORE_INPUT_ERROR_H
#define TALSTORE_INPUT_ERROR_H

#include <stdexcept>
#include <string>

namespace tal::talstore {

/// Ends the run with the status for wrong use; what() says what and where.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] inline void RefuseFile(const std::string& name, const std::string& problem) {
    throw InputError(name + ": " + problem);
}

}  // namespace tal::talstore

#endif
