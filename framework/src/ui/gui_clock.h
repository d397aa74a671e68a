#pragma once
// The GUI's monotonic clock.

namespace ozgi {

/// Milliseconds on a monotonic clock.
long long gui_now_ms();

} // namespace ozgi
