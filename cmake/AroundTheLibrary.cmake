# What everything around the library is compiled and looked at with, for the folders that come after it.

if(TAL_COMPILE_IN_BATCHES)
  # A batch reads a header once, which takes less time than to prepare it for that.
  set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
  # The places in the sources are what a trace of calls needs, and what else a debugger is told takes a fifth of the time.
  add_compile_options($<$<CONFIG:Debug>:-g1>)
  # Little of what is read for a batch is done with before its end: to look for it earlier saves a fifth of the memory and
  # takes a twentieth of the time.
  add_compile_options("$<$<COMPILE_LANG_AND_ID:CXX,GNU>:--param=ggc-min-heapsize=524288>")
endif()

# clang's analyser follows every path through the library. Where standard containers have no end of paths, it may be told
# after how many states of a function to go on with the next.
set(TAL_ANALYZER_STATES "" CACHE STRING
  "How many states of a function outside the library the analyser looks at; empty for its own limit")
if(TAL_ANALYZER_STATES)
  foreach(language IN ITEMS C CXX)
    list(APPEND CMAKE_${language}_CLANG_TIDY
      --extra-arg=-Xclang --extra-arg=-analyzer-config --extra-arg=-Xclang --extra-arg=max-nodes=${TAL_ANALYZER_STATES})
  endforeach()
endif()
