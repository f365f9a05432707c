/// Included by the providers' own source files: each of them sets up the standard streams when the library is loaded.
#ifndef TAL_PRIVATE_STANDARD_STREAMS_H
#define TAL_PRIVATE_STANDARD_STREAMS_H

#include <iostream>  // IWYU pragma: export

#endif
