/// @file
/// The command line is not one that the tool understands.
#ifndef TALSTORE_USE_ERROR_H
#define TALSTORE_USE_ERROR_H

#include "files/InputError.h"

namespace tal::talstore {

/// Like any InputError, and the usage line of the command is shown with it.
class UseError : public InputError {
public:
    using InputError::InputError;
};

}  // namespace tal::talstore

#endif
