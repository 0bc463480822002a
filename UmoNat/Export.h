#pragma once

/// Marks what the NAT library offers to an agent: its factories, and the types an agent must
/// implement or hold. Everything is compiled with hidden visibility, so whatever lacks the mark
/// stays private to the library; tests/install/exports.txt lists what may carry it.
#define UMONAT_API [[gnu::visibility("default")]]
