// A plugin of the emulator qemu: counts the instructions that the emulated program executes, as one
// number of 64 bits in a new file. Usage: qemu-arm -plugin libcount-instructions.so,count=FILE ...
//
// The file is mapped, so that the count is there however the program ends: the emulator calls no
// plugin when a signal ends it. One thread counts right; several may lose some.

#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

// The part of version 1 of the emulator's interface that is used here; Debian has no header of it.
enum { addNumber = 0 };
struct qemu_plugin_tb;
typedef void (*OnTranslation)(uint64_t plugin, struct qemu_plugin_tb* block);
extern int qemu_plugin_version;
int qemu_plugin_install(uint64_t plugin, const void* info, int argc, char** argv);
void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t plugin, OnTranslation callback);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block, int operation,
                                              void* number, uint64_t operand);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);

int qemu_plugin_version = 1;

static uint64_t* count;

static void countExecutions(uint64_t plugin, struct qemu_plugin_tb* block) {
    (void)plugin;
    qemu_plugin_register_vcpu_tb_exec_inline(block, addNumber, count,
                                             qemu_plugin_tb_n_insns(block));
}

static uint64_t* mapNumber(const char* path) {
    const int file = open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0 || ftruncate(file, sizeof *count) != 0)
        return MAP_FAILED;
    void* number = mmap(NULL, sizeof *count, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    return number;
}

int qemu_plugin_install(uint64_t plugin, const void* info, int argc, char** argv) {
    (void)info;
    static const char option[] = "count=";
    if (argc != 1 || strncmp(argv[0], option, strlen(option)) != 0) {
        fprintf(stderr, "count-instructions: takes count=FILE and nothing else\n");
        return 1;
    }
    count = mapNumber(argv[0] + strlen(option));
    if (count == MAP_FAILED) {
        perror(argv[0]);
        return 1;
    }
    qemu_plugin_register_vcpu_tb_trans_cb(plugin, countExecutions);
    return 0;
}
