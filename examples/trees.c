/* Linked structures: a balanced search tree, a hash table with chains, a doubly linked list and a priority queue,
 * held against each other.
 *
 * Exercises: pointers to pointers, recursion, structures inside structures, allocation, list surgery.
 */
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>

struct link { /* a ring; the head is a link too */
    struct link *next, *previous;
};

struct entry {
    int key, value;
    struct entry *left, *right; /* tree */
    int height;
    struct entry *chain; /* hash table */
    struct link recent;  /* most recently used first */
};

#define ENTRY_OF(p) ((struct entry *)((char *)(p) - offsetof(struct entry, recent)))

enum { BUCKETS = 257, KEYS = 3000, HEAP = 4096 };

static struct entry *root, *buckets[BUCKETS];
static struct link recent = {&recent, &recent};
static int entries;

static int height(const struct entry *e) { return e ? e->height : 0; }

static void update(struct entry *e)
{
    int l = height(e->left), r = height(e->right);
    e->height = 1 + (l > r ? l : r);
}

static struct entry *rotate_right(struct entry *e)
{
    struct entry *up = e->left;
    e->left = up->right;
    up->right = e;
    update(e);
    update(up);
    return up;
}

static struct entry *rotate_left(struct entry *e)
{
    struct entry *up = e->right;
    e->right = up->left;
    up->left = e;
    update(e);
    update(up);
    return up;
}

static struct entry *balance(struct entry *e)
{
    int slope = height(e->left) - height(e->right);

    if (slope > 1) {
        if (height(e->left->left) < height(e->left->right))
            e->left = rotate_left(e->left);
        return rotate_right(e);
    }
    if (slope < -1) {
        if (height(e->right->right) < height(e->right->left))
            e->right = rotate_right(e->right);
        return rotate_left(e);
    }
    update(e);
    return e;
}

static struct entry *tree_insert(struct entry *e, struct entry *fresh)
{
    if (!e)
        return fresh;
    struct entry **side = fresh->key < e->key ? &e->left : &e->right;
    *side = tree_insert(*side, fresh);
    return balance(e);
}

static struct entry *take_lowest(struct entry *e, struct entry **lowest)
{
    if (!e->left) {
        *lowest = e;
        return e->right;
    }
    e->left = take_lowest(e->left, lowest);
    return balance(e);
}

static struct entry *tree_remove(struct entry *e, int key)
{
    if (!e)
        return NULL;
    if (key < e->key)
        e->left = tree_remove(e->left, key);
    else if (key > e->key)
        e->right = tree_remove(e->right, key);
    else {
        struct entry *heir;
        if (!e->right)
            return e->left;
        struct entry *right = take_lowest(e->right, &heir);
        heir->right = right;
        heir->left = e->left;
        e = heir;
    }
    return balance(e);
}

static struct entry *tree_find(int key)
{
    struct entry *e = root;
    while (e && e->key != key)
        e = key < e->key ? e->left : e->right;
    return e;
}

static struct entry **hash_find(int key)
{
    struct entry **p = &buckets[(unsigned)key * 2654435769u % BUCKETS];
    while (*p && (*p)->key != key)
        p = &(*p)->chain;
    return p;
}

static void unlink_entry(struct link *l)
{
    l->previous->next = l->next;
    l->next->previous = l->previous;
}

static void link_first(struct link *l)
{
    l->next = recent.next;
    l->previous = &recent;
    recent.next->previous = l;
    recent.next = l;
}

static void insert(int key, int value)
{
    struct entry **place = hash_find(key);

    if (*place) {
        (*place)->value = value;
        unlink_entry(&(*place)->recent);
    } else {
        struct entry *e = calloc(1, sizeof *e);
        if (!e)
            exit(2);
        e->key = key;
        e->value = value;
        e->height = 1;
        *place = e;
        root = tree_insert(root, e);
        entries++;
    }
    link_first(&(*place)->recent);
}

static int discard(int key)
{
    struct entry **place = hash_find(key), *e = *place;

    if (!e)
        return 0;
    *place = e->chain;
    root = tree_remove(root, key);
    unlink_entry(&e->recent);
    free(e);
    entries--;
    return 1;
}

/* Counts the entries in order; a negative count says that the tree is no search tree or not balanced. */
static int check_tree(const struct entry *e, long *last)
{
    if (!e)
        return 0;
    int left = check_tree(e->left, last);
    int slope = height(e->left) - height(e->right);
    if (left < 0 || e->key <= *last || slope > 1 || slope < -1)
        return -1;
    *last = e->key;
    int right = check_tree(e->right, last);
    return right < 0 ? -1 : left + 1 + right;
}

static void check(const char *when)
{
    long last = -1000000, sum = 0;
    int in_tree = check_tree(root, &last), in_hash = 0, in_list = 0, lost = 0;

    for (int b = 0; b < BUCKETS; b++)
        for (struct entry *e = buckets[b]; e; e = e->chain) {
            in_hash++;
            lost += tree_find(e->key) != e;
        }
    for (struct link *l = recent.next; l != &recent; l = l->next) {
        in_list++;
        sum += ENTRY_OF(l)->value * (long)(in_list % 7);
    }
    printf("%-14s entries %d tree %d hash %d list %d height %d sum %ld%s\n", when, entries, in_tree, in_hash, in_list,
           height(root), sum, lost || in_tree != entries || in_hash != entries || in_list != entries ? " WRONG" : "");
}

static struct entry *heap[HEAP];

static int heap_all(void)
{
    int n = 0;

    for (struct link *l = recent.next; l != &recent; l = l->next) {
        int i = n++;
        struct entry *e = ENTRY_OF(l);
        for (; i > 0 && heap[(i - 1) / 2]->value > e->value; i = (i - 1) / 2)
            heap[i] = heap[(i - 1) / 2];
        heap[i] = e;
    }
    return n;
}

static struct entry *heap_take(int n)
{
    struct entry *lowest = heap[0], *e = heap[n - 1];
    int i = 0, child;

    while ((child = 2 * i + 1) < n - 1) {
        if (child + 1 < n - 1 && heap[child + 1]->value < heap[child]->value)
            child++;
        if (heap[child]->value >= e->value)
            break;
        heap[i] = heap[child];
        i = child;
    }
    heap[i] = e;
    return lowest;
}

int main(void)
{
    unsigned seed = 1;
    int removed = 0, before = -1, disorder = 0;

    for (int i = 0; i < KEYS; i++) {
        seed = seed * 1664525 + 1013904223;
        insert((int)(seed >> 8) % 5000 - 2500, i * 37 % 10007);
    }
    check("inserted");
    for (int i = 0; i < 4000; i++) {
        seed = seed * 1664525 + 1013904223;
        removed += discard((int)(seed >> 8) % 5000 - 2500);
    }
    printf("removed %d\n", removed);
    check("removed");
    for (int i = 0; i < 1000; i++)
        insert(i, -i);
    check("a rising run");
    int n = heap_all();
    for (; n > 0; n--) {
        struct entry *e = heap_take(n);
        disorder += before != -1 && e->value < before;
        before = e->value;
        discard(e->key);
    }
    check("emptied");
    printf("disorder %d\n", disorder);
    return disorder != 0 || root != NULL;
}
