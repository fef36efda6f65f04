// A library in the observation plug-in's place: what it exports, what it answers when it is told 1, and what it calls
// when it is unloaded.
extern "C" {
__declspec(dllexport) void (*at_unload)() = nullptr;
}
const struct unloading {
  ~unloading() {
    if (at_unload != nullptr) {
      at_unload();
    }
  }
} at_the_end;

extern "C" __declspec(dllexport) int ENTRY(int enabled) {
  return enabled == 1 ? ANSWER : 99;
}
