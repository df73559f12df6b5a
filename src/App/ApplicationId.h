#pragma once

namespace corvane {

// The program's id in reverse-domain form: its desktop entry, its bus name and its icon have this name.
inline constexpr auto applicationId = "com.corvane.Lumetra";

} // namespace corvane
