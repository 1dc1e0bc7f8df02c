/* Huffman's codes of a text: a tree in arrays, bits in and out. */
#include <stdio.h>

#define SIZE 8000
static unsigned char text[SIZE], packed[SIZE * 2], unpacked[SIZE];
static int count[511], parent[511], left[511], right[511], nodes;
static unsigned code[256], bits[256];

static int least(int except)
{
    int best = -1;
    for (int i = 0; i < nodes; i++)
        if (i != except && count[i] && !parent[i] && (best < 0 || count[i] < count[best])) best = i;
    return best;
}

static int make_tree(void)
{
    nodes = 256;
    for (;;) {
        int a = least(-1), b = least(a);
        if (b < 0) return a;
        count[nodes] = count[a] + count[b];
        left[nodes] = a, right[nodes] = b;
        parent[a] = parent[b] = nodes++;
    }
}

static void make_codes(int node, unsigned value, unsigned length)
{
    if (node < 256) {
        code[node] = value, bits[node] = length;
        return;
    }
    make_codes(left[node], value << 1, length + 1);
    make_codes(right[node], value << 1 | 1, length + 1);
}

static unsigned pack(void)
{
    unsigned at = 0;
    for (int i = 0; i < SIZE; i++)
        for (int bit = (int)bits[text[i]] - 1; bit >= 0; bit--, at++)
            if (code[text[i]] >> bit & 1) packed[at >> 3] |= 0x80 >> (at & 7);
    return at;
}

static void unpack(int root)
{
    unsigned at = 0;
    for (int i = 0; i < SIZE; i++) {
        int node = root;
        for (; node >= 256; at++) node = packed[at >> 3] & 0x80 >> (at & 7) ? right[node] : left[node];
        unpacked[i] = node;
    }
}

int main(void)
{
    unsigned state = 3;
    int wrong = 0;
    for (int i = 0; i < SIZE; i++) {
        state = state * 69069 + 1;
        text[i] = " etaoinshrdlu"[(state >> 28 & state >> 24) % 13];
        count[text[i]]++;
    }
    int root = make_tree();
    make_codes(root, 0, 0);
    unsigned size = pack();
    unpack(root);
    for (int i = 0; i < SIZE; i++) wrong += text[i] != unpacked[i];
    printf("%u bits, %d wrong\n", size, wrong);
    return 0;
}
