// Work shared among threads: how many to use, and running the parts of a job on them. Callers
// split their work so that the result does not depend on the number of parts.
#pragma once

#include <functional>

// QUORIX_THREADS when it holds a positive number, else the number of cores (at least 1).
unsigned quorix_thread_count();

// How many parts to share a job among: one per `per_part` units of its `work`, at most one per
// thread and at most `most`, and at least one.
unsigned quorix_part_count(long work, long per_part, long most);

// Runs part(0) ... part(parts - 1), each on its own thread where the system allows one; the
// calling thread takes part 0 and every part whose thread could not be started. Returns when all
// parts are done.
void quorix_run_parts(unsigned parts, const std::function<void(unsigned)>& part);
