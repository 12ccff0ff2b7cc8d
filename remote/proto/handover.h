// What gRPC carries from one thread to another, told to the thread sanitizer: the distribution's
// gRPC is not built for it, so the order that gRPC makes between an operation and its end is unseen
// otherwise. Costs nothing in other builds.
#pragma once

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define REMOTE_HAS_THREAD_SANITIZER 1
#endif
#endif

#ifdef REMOTE_HAS_THREAD_SANITIZER
// Of the sanitizer's runtime, which has no header for them.
extern "C" void __tsan_acquire(void* address);  // NOLINT(bugprone-reserved-identifier)
extern "C" void __tsan_release(void* address);  // NOLINT(bugprone-reserved-identifier)
#endif

namespace remote {

/// Before an operation that ends in `tag` is begun, on the thread that begins it. Returns `tag`.
template <class Tag>
Tag* handedOver(Tag* tag) noexcept {
#ifdef REMOTE_HAS_THREAD_SANITIZER
  __tsan_release(tag);
#endif
  return tag;
}

/// When it has ended, on the thread that learns of it first.
inline void takenOver([[maybe_unused]] void* tag) noexcept {
#ifdef REMOTE_HAS_THREAD_SANITIZER
  __tsan_acquire(tag);
#endif
}

}  // namespace remote
