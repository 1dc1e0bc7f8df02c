/* A plugin for qemu-arm that counts executed instructions: each translated block adds its number of instructions when it runs. The count, one
   decimal number, goes to the file that the argument "out=NAME" names.

   The declarations are those of QEMU's plugin interface, version 1; Debian installs no header for it. */
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

typedef uint64_t plugin_id;
struct qemu_plugin_tb;
enum { ADD_U64 = 0 };

void qemu_plugin_register_vcpu_tb_trans_cb(plugin_id id, void (*callback)(plugin_id, struct qemu_plugin_tb *));
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *block);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb *block, int operation, void *counter, uint64_t amount);
void qemu_plugin_register_atexit_cb(plugin_id id, void (*callback)(plugin_id, void *), void *data);

__attribute__((visibility("default"))) int qemu_plugin_version = 1;

static uint64_t executed;
static char output_name[4096];

static void block_translated(plugin_id id, struct qemu_plugin_tb *block) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, ADD_U64, &executed, qemu_plugin_tb_n_insns(block));
}

static void program_ended(plugin_id id, void *data) {
    (void)id, (void)data;
    FILE *output = fopen(output_name, "w");
    if (!output) return;
    fprintf(output, "%llu\n", (unsigned long long)executed);
    fclose(output);
}

__attribute__((visibility("default"))) int qemu_plugin_install(plugin_id id, const void *info, int argc, char **argv) {
    (void)info;
    for (int i = 0; i < argc; ++i)
        if (!strncmp(argv[i], "out=", 4)) snprintf(output_name, sizeof output_name, "%s", argv[i] + 4);
    qemu_plugin_register_vcpu_tb_trans_cb(id, block_translated);
    qemu_plugin_register_atexit_cb(id, program_ended, NULL);
    return 0;
}
