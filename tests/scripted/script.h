// The script behind the scripted platform: what each native call answers, a log
// of the calls received, barriers that tell a test a call has started, and a
// count of the objects a caller still has to release.
//
// Answers are texts under keys. By convention a key is "<object>.<Operation>"
// for a call on a scripted object ("system.GetVersion") or the function name
// for a free function ("KyrCam_CreateDevice"); ".err" after it names the error
// code a call reports. An answer set with KyrScript_Push is used once, before
// any answer set with KyrScript_Set. A call whose key has no answer gives the
// default its implementation documents.
//
// Any thread: scripted objects answer from the caller's thread and from their
// own event threads.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>

#define KYRSCRIPT_API __attribute__((visibility("default")))

namespace Scripted {

// Records a call in the log ("system.GetVersion()") and wakes the tests waiting
// for it to start.
KYRSCRIPT_API void record(const std::string &call);

// The answer under the first of `keys` that has one.
KYRSCRIPT_API std::optional<std::string> answer(std::initializer_list<std::string> keys);

// Typed reads of an answer; the fallback when there is none. An answer that
// does not parse as the type is a fault of the test, reported on stderr; the
// fallback is used.
KYRSCRIPT_API int64_t answerInt(std::initializer_list<std::string> keys, int64_t fallback);
KYRSCRIPT_API double answerReal(std::initializer_list<std::string> keys, double fallback);
// True when the answer is the text "null": a pointer result is to be null.
KYRSCRIPT_API bool answerIsNull(std::initializer_list<std::string> keys);

// Counts the objects a caller must release (lists, devices, streams).
KYRSCRIPT_API void objectCreated();
KYRSCRIPT_API void objectReleased();

// Released objects are not freed but kept as they are, so that a caller that
// reaches one again is caught instead of reading freed memory. Objects shared
// by name (a device's parameter arrays) are counted: each hand-out revives
// `object`, each release retires it once; once none is left, every call
// recorded on it (or on a feature of it, "object/...") counts as a use after
// release. Such a use is written to stderr and counted (KyrScript_Misuses).
KYRSCRIPT_API void retire(const std::string &object);
KYRSCRIPT_API void revive(const std::string &object);
// Counts `call` as a use after release, for objects that log no calls.
KYRSCRIPT_API void misuse(const std::string &call);

} // namespace Scripted

extern "C" {

// Forgets every answer, the log, the entry counts and the uses after release.
// Objects stay as they are.
KYRSCRIPT_API void KyrScript_Reset();
KYRSCRIPT_API void KyrScript_Set(const char *key, const char *value);
KYRSCRIPT_API void KyrScript_Push(const char *key, const char *value);
KYRSCRIPT_API void KyrScript_Clear(const char *key);
// The log since the last take, one call per line, in a string to be freed with
// KyrScript_Free; the log is emptied.
KYRSCRIPT_API char *KyrScript_TakeLog();
KYRSCRIPT_API void KyrScript_Free(char *text);
// Waits until calls whose log line starts with `prefix` have been recorded
// `count` times since the last reset, at most `timeoutMs`. Returns 1 when they
// were, 0 on timeout.
KYRSCRIPT_API int KyrScript_WaitEntered(const char *prefix, int count, int timeoutMs);
// Objects made for a caller and not yet released by it.
KYRSCRIPT_API int KyrScript_LiveObjects();
// Calls that reached a released object since the last reset.
KYRSCRIPT_API int KyrScript_Misuses();

} // extern "C"
