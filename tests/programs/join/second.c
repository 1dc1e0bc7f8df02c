// See first.c.
#include <stdio.h>
#include <stdlib.h>
#include "shared.h"

struct local { double value; }; // another one than in first.c
struct node { int v; list_t* first; };
static struct local hidden = {9};
static struct node the_root = {42, NULL};
int counter = 7, table[4] = {1, 2, 3};
__attribute__((common)) int merged;
enum color chosen = green;
struct node* root = &the_root;

static int same_name(void) { static int n = 10; return ++n + (int)hidden.value; }
static int target(void) { return 12; }
extern int second_alias(void) __attribute__((alias("target")));
__attribute__((constructor)) static void before(void) { puts("second"); merged += 5; }
int node_value(struct node* n) { return n->v + same_name() + helper(2) + second_alias(); }
int twice(int x) { return 2 * x; }
int twice_plus(int x) { return -x; }
int renamed(int x) { return x + 100; }
int unprototyped(int a, int b) { return a * 10 + b; }
struct pair swap(struct pair p) { return (struct pair){p.b, p.a}; }
int weakly(void) { return 2; }
void stop(int status) { exit(status); }
list_t* make(int v) { list_t* l = calloc(1, sizeof *l); l->value = v; return l; }
int total(const list_t* l) { int s = 0; for (; l; l = l->next) s += l->value; return s; }
