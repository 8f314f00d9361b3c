// The command line: sheaflow ops | params | run.
#include <cstdio>

int main(int argc, char** argv) {
    (void)argc;
    (void)argv;
    std::fputs("sheaflow: not built yet\n", stderr);
    return 2;
}
