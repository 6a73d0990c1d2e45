// Who waits for a long operation and may give it up.
#ifndef ZEL_CORE_LISTENER_H_
#define ZEL_CORE_LISTENER_H_

namespace zel {

struct Listener {
  bool (*hear)(void* user, double done);  // the share done, 0 to 1; false to give up
  void* user;
};

}  // namespace zel

#endif  // ZEL_CORE_LISTENER_H_
