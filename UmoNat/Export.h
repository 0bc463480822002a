#pragma once

/// Exports a symbol of the NAT library to agents: its factories, and the types that an agent
/// implements or holds. The library is compiled with hidden visibility, so all other symbols are
/// private. tests/install/libUmoNat.exports lists what may be exported.
#define UMONAT_API [[gnu::visibility("default")]]

/// Marks a class inside an exported one that only the library's sources know. It would be exported
/// with the class that it is in.
#define UMONAT_HIDDEN [[gnu::visibility("hidden")]]
