#pragma once

/// Whether a sanitizer watches the test: it needs the address space for itself, and more of the stack.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool SANITIZED = true;
#elif defined(__has_feature)
inline constexpr bool SANITIZED = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
inline constexpr bool SANITIZED = false;
#endif
