#pragma once

/// Exports a symbol of the platform library. Everything is compiled with hidden visibility, so all
/// other symbols are private. The mark also makes a class's inline statics and type information
/// exist once per process.
#define PLATFORM_API [[gnu::visibility("default")]]
