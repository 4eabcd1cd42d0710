#pragma once

namespace TestSupport {

/// Release numbers as the deployment settings publish them: one of the older transport, and the first of the newer one.
inline constexpr double release10_7 = 1138.6;
inline constexpr double release10_10 = 1343.0;

} // namespace TestSupport
