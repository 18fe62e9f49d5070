#pragma once

namespace vicinix {

// The SDK version the backend sees in the "sdk-version" header and that is
// stored at first start.
inline constexpr int kSdkVersion = 1;

}  // namespace vicinix
