// A library that has nothing: what loading one costs at least. FUNCTION is its one function.

extern "C" __declspec(dllexport) int FUNCTION();

int FUNCTION() {
  return 0;
}
