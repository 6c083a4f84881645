#pragma once
// The application's identity, in one place.

namespace app {
inline constexpr auto kAppName = "Kestro Connect";
inline constexpr auto kVersion = "8.9.13+cdcc16b";
inline constexpr auto kDescription =
    "Kestro Connect - the commissioning client. The unit describes the screen; this draws it.";
} // namespace app
