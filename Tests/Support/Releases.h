#pragma once

namespace TestSupport {

/// Release numbers as the deployment settings publish them: two of the older transport, of which the first one has a
/// front end of its own, and the first of the newer transport.
inline constexpr double release10_7 = 1138.6;
inline constexpr double release10_8 = 1200.0;
inline constexpr double release10_10 = 1343.0;

} // namespace TestSupport
