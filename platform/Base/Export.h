#pragma once

/// Marks what the platform library offers to the libraries and programs built on it. Everything
/// is compiled with hidden visibility, so whatever lacks the mark stays private to its library.
/// The mark also makes a class's inline statics and type information exist once per process.
#define PLATFORM_API [[gnu::visibility("default")]]
