// The functions of the empty libraries: each has one of these, and nothing else.
#pragma once

extern "C" {
__declspec(dllimport) int empty_1();
__declspec(dllimport) int empty_2();
__declspec(dllimport) int empty_3();
__declspec(dllimport) int empty_4();
__declspec(dllimport) int empty_5();
__declspec(dllimport) int empty_6();
__declspec(dllimport) int empty_7();
}
