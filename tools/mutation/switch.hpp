// Which of the changes that are built in at once is made in this process.
#pragma once

struct qxfl_mutants {
  int active;                // 0: none
  unsigned char reached[1];  // by number: 1 where a run came by; the file has room for all
};

extern "C" {
extern qxfl_mutants* qxfl_mutants_state;
}

// What the compiler evaluates is never changed.
constexpr bool qxfl_mutant(int number) {
  if (__builtin_is_constant_evaluated()) {
    return false;
  }
  __atomic_store_n(&qxfl_mutants_state->reached[number], static_cast<unsigned char>(1), __ATOMIC_RELAXED);
  return __atomic_load_n(&qxfl_mutants_state->active, __ATOMIC_RELAXED) == number;
}
