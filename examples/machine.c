/* A stack machine: a small assembler makes bytecode of text, and an interpreter runs it through a table of
 * functions.
 *
 * Exercises: pointers to functions, tables of structures, indirect calls in the inner loop, labels and patches,
 * string parsing.
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { CODE = 512, STACK = 128, LABELS = 32, MEMORY = 1024 };

struct machine {
    const uint8_t *pc;
    int32_t stack[STACK], *top; /* `top` points to the value pushed last */
    const uint8_t *returns[STACK];
    int depth, running;
    int32_t memory[MEMORY];
    unsigned long steps;
};

static uint8_t code[CODE];

static int32_t operand(struct machine *m)
{
    int16_t value = (int16_t)(m->pc[0] | m->pc[1] << 8);
    m->pc += 2;
    return value;
}

static void do_halt(struct machine *m) { m->running = 0; }
static void do_push(struct machine *m) { *++m->top = operand(m); }
static void do_drop(struct machine *m) { m->top--; }
static void do_dup(struct machine *m) { m->top[1] = m->top[0], m->top++; }
static void do_over(struct machine *m) { m->top[1] = m->top[-1], m->top++; }
static void do_swap(struct machine *m)
{
    int32_t t = m->top[0];
    m->top[0] = m->top[-1];
    m->top[-1] = t;
}
static void do_add(struct machine *m) { m->top--, m->top[0] = (int32_t)((uint32_t)m->top[0] + (uint32_t)m->top[1]); }
static void do_sub(struct machine *m) { m->top--, m->top[0] = (int32_t)((uint32_t)m->top[0] - (uint32_t)m->top[1]); }
static void do_mul(struct machine *m) { m->top--, m->top[0] = (int32_t)((uint32_t)m->top[0] * (uint32_t)m->top[1]); }
static void do_div(struct machine *m) { m->top--, m->top[0] = m->top[1] ? m->top[0] / m->top[1] : 0; }
static void do_mod(struct machine *m) { m->top--, m->top[0] = m->top[1] ? m->top[0] % m->top[1] : 0; }
static void do_less(struct machine *m) { m->top--, m->top[0] = m->top[0] < m->top[1]; }
static void do_equal(struct machine *m) { m->top--, m->top[0] = m->top[0] == m->top[1]; }
static void do_not(struct machine *m) { m->top[0] = !m->top[0]; }
static void do_load(struct machine *m) { m->top[0] = m->memory[m->top[0] & (MEMORY - 1)]; }
static void do_store(struct machine *m) { m->memory[m->top[0] & (MEMORY - 1)] = m->top[-1], m->top -= 2; }
static void do_print(struct machine *m) { printf("%ld ", (long)*m->top--); }
static void do_newline(struct machine *m)
{
    (void)m;
    putchar('\n');
}
static void do_jump(struct machine *m)
{
    int32_t to = operand(m);
    m->pc = code + to;
}
static void do_branch(struct machine *m)
{
    int32_t to = operand(m);
    if (*m->top--)
        m->pc = code + to;
}
static void do_call(struct machine *m)
{
    int32_t to = operand(m);
    m->returns[m->depth++] = m->pc;
    m->pc = code + to;
}
static void do_return(struct machine *m) { m->pc = m->returns[--m->depth]; }

enum operand_kind { NONE, NUMBER, LABEL };

static const struct instruction {
    const char *name;
    void (*run)(struct machine *);
    enum operand_kind operand;
} instructions[] = {
    {"halt", do_halt, NONE},   {"push", do_push, NUMBER},  {"drop", do_drop, NONE},   {"dup", do_dup, NONE},
    {"over", do_over, NONE},   {"swap", do_swap, NONE},    {"add", do_add, NONE},     {"sub", do_sub, NONE},
    {"mul", do_mul, NONE},     {"div", do_div, NONE},      {"mod", do_mod, NONE},     {"less", do_less, NONE},
    {"equal", do_equal, NONE}, {"not", do_not, NONE},      {"load", do_load, NONE},   {"store", do_store, NONE},
    {"print", do_print, NONE}, {"nl", do_newline, NONE},   {"jump", do_jump, LABEL},  {"branch", do_branch, LABEL},
    {"call", do_call, LABEL},  {"return", do_return, NONE},
};

enum { INSTRUCTIONS = sizeof instructions / sizeof *instructions };

static struct label {
    char name[12];
    int place; /* -1 while not defined */
} labels[LABELS];
static int label_count;

static struct patch {
    int at, label;
} patches[64];
static int patch_count;

static int find_label(const char *name)
{
    for (int i = 0; i < label_count; i++)
        if (!strcmp(labels[i].name, name))
            return i;
    strncpy(labels[label_count].name, name, sizeof labels[0].name - 1);
    labels[label_count].place = -1;
    return label_count++;
}

static int find_instruction(const char *name)
{
    for (int i = 0; i < INSTRUCTIONS; i++)
        if (!strcmp(instructions[i].name, name))
            return i;
    printf("no instruction '%s'\n", name);
    exit(1);
}

static const char *next_word(const char *text, char *word)
{
    while (*text == ' ' || *text == '\n')
        text++;
    while (*text && *text != ' ' && *text != '\n')
        *word++ = *text++;
    *word = 0;
    return text;
}

static void put16(int at, int value)
{
    code[at] = (uint8_t)value;
    code[at + 1] = (uint8_t)(value >> 8);
}

static int assemble(const char *text)
{
    char word[32];
    int at = 0;

    label_count = patch_count = 0;
    while (text = next_word(text, word), *word) {
        size_t n = strlen(word);
        if (word[n - 1] == ':') {
            word[n - 1] = 0;
            labels[find_label(word)].place = at;
            continue;
        }
        int i = find_instruction(word);
        code[at++] = (uint8_t)i;
        if (instructions[i].operand == NONE)
            continue;
        text = next_word(text, word);
        if (instructions[i].operand == LABEL) {
            patches[patch_count].at = at;
            patches[patch_count++].label = find_label(word);
        } else
            put16(at, atoi(word));
        at += 2;
    }
    while (patch_count-- > 0)
        put16(patches[patch_count].at, labels[patches[patch_count].label].place);
    return at;
}

static void run(const char *title, const char *text)
{
    static struct machine m;
    int size = assemble(text);

    memset(&m, 0, sizeof m);
    m.pc = code;
    m.top = m.stack;
    m.running = 1;
    printf("%s: ", title);
    while (m.running) {
        instructions[*m.pc++].run(&m);
        m.steps++;
    }
    printf("(%d bytes, %lu steps, stack %d)\n", size, m.steps, (int)(m.top - m.stack));
}

int main(void)
{
    run("factorial", "push 10 call fact print halt "
                     "fact: dup push 2 less branch one dup push 1 sub call fact mul return "
                     "one: drop push 1 return");
    run("fibonacci", "push 17 call fib print halt "
                     "fib: dup push 2 less not branch more return "
                     "more: dup push 1 sub call fib swap push 2 sub call fib add return");
    run("sieve", "push 2 outer: dup push 1000 less not branch done "
                 "dup load branch next dup print dup dup add "
                 "mark: dup push 1000 less not branch marked push 1 over store over add jump mark "
                 "marked: drop next: push 1 add jump outer "
                 "done: drop nl halt");
    run("collatz", "push 0 push 1 loop: dup push 700 less not branch done "
                   "dup call length dup push 0 load less branch skip dup push 0 store over push 1 store "
                   "skip: drop push 1 add jump loop "
                   "done: drop drop push 1 load print push 0 load print halt "
                   "length: push 0 push 2 store "
                   "step: dup push 1 equal branch out push 2 load push 1 add push 2 store "
                   "dup push 2 mod branch odd push 2 div jump step odd: push 3 mul push 1 add jump step "
                   "out: drop push 2 load return");
    return 0;
}
