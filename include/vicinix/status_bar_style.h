#pragma once

/// @file
/// The navigation bar style a host may set through VicinixAppearance.

namespace vicinix {

/// How the modal container's navigation bar is drawn: light content or dark.
enum class StatusBarStyle { light, dark };

}  // namespace vicinix
