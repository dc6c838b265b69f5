// SPDX-License-Identifier: Zlib
// A plugin of the emulator qemu-user that writes how many instructions a program ran to the standard error.
// Debian has no header for plugins, so what is needed of it stands here.
#include <inttypes.h>
#include <stddef.h>
#include <stdio.h>

#define EXPORTED __attribute__((visibility("default")))

typedef uint64_t PluginId;
struct qemu_plugin_tb; // instructions that run one after the other

extern void qemu_plugin_register_vcpu_tb_trans_cb(PluginId, void (*)(PluginId, struct qemu_plugin_tb*));
extern size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb*);
extern void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb*, int operation, void* counter,
                                                     uint64_t addend);
extern void qemu_plugin_register_atexit_cb(PluginId, void (*)(PluginId, void*), void*);

EXPORTED int qemu_plugin_version = 1;
EXPORTED int qemu_plugin_install(PluginId id, const void* info, int argc, char** argv);

static uint64_t instructions;

static void translated(PluginId id, struct qemu_plugin_tb* block) {
    enum { kAdd = 0 };
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, kAdd, &instructions, qemu_plugin_tb_n_insns(block));
}

static void ended(PluginId id, void* data) {
    (void)id, (void)data;
    fprintf(stderr, "%" PRIu64 "\n", instructions);
}

int qemu_plugin_install(PluginId id, const void* info, int argc, char** argv) {
    (void)info, (void)argc, (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, translated);
    qemu_plugin_register_atexit_cb(id, ended, NULL);
    return 0;
}
