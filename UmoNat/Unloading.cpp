#include "Skimtrace/Skimtrace.h"

namespace {

/// Ends with the library: nothing of the process may point into it afterwards.
class Unloading {
  public:
    Unloading() = default;
    ~Unloading() { Skimtrace::forgetLibraryOf(this); }
    Unloading(Unloading const &) = delete;
    Unloading &operator=(Unloading const &) = delete;
};

Unloading const unloading;

} // namespace
