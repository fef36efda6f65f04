// A library in the observation plug-in's place: what it exports, and what it answers when it is told 1.
extern "C" __declspec(dllexport) int ENTRY(int enabled) {
  return enabled == 1 ? ANSWER : 99;
}
