// SPDX-License-Identifier: Apache-2.0
// Stands in for a program of Windows' own that a test does not want to run: adds its command line, without
// its own name, to called.txt beside itself, and says that all went well.

#include <windows.h>

#include <cstdio>
#include <string>

int main(int count, char** arguments) {
    char self[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, self, MAX_PATH);
    const std::string path(self);
    std::FILE* file = std::fopen((path.substr(0, path.find_last_of('\\') + 1) + "called.txt").c_str(), "a");
    if (file == nullptr)
        return 1;
    for (int i = 1; i < count; ++i)
        std::fprintf(file, i + 1 < count ? "%s " : "%s\n", arguments[i]);
    return std::fclose(file) == 0 ? 0 : 1;
}
