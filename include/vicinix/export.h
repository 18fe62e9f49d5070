#pragma once

// Marks the classes and functions a shared libvicinix or libvicinix-qt
// exports. Everything else is built with hidden visibility and may change
// between releases.
#define VICINIX_EXPORT __attribute__((visibility("default")))
