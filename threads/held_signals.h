/// Held signals: while an object lives, no signal from outside interrupts its thread, nor threads that it starts.
///
/// Left out  SIGKILL and SIGSTOP, which nothing holds back; signals of a thread's own faults, such as SIGBUS
/// Threads   the calling one, and those that it starts, for as long as they live. A held signal goes to another thread of the
///           process, or comes when the object ends
#pragma once

#include <csignal>
#include <initializer_list>

namespace velko {

class held_signals {
 public:
  held_signals() {
    sigset_t from_outside;
    sigfillset(&from_outside);
    for (const int own_fault : {SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGTRAP})
      sigdelset(&from_outside, own_fault);
    pthread_sigmask(SIG_BLOCK, &from_outside, &before_);
  }
  held_signals(const held_signals&) = delete;
  held_signals& operator=(const held_signals&) = delete;
  ~held_signals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

}  // namespace velko
