#include "inspector/command-line.h"

int main(int argc, char** argv) {
    return inspector::run(argc, argv);
}
