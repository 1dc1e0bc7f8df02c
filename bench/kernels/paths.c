/* Shortest paths in a graph of arrays, with a heap of nodes. */
#include <stdio.h>

#define NODES 600
#define EDGES 3600
#define FAR 0x7fffffff

struct edge {
    int to, length, next;
};

static struct edge edges[EDGES];
static int first[NODES], distance[NODES], heap[NODES + 1], place[NODES], size;

static void put(int at, int node)
{
    heap[at] = node;
    place[node] = at;
}

static void rise(int node)
{
    int at = place[node];
    for (; at > 1 && distance[heap[at / 2]] > distance[node]; at /= 2) put(at, heap[at / 2]);
    put(at, node);
}

static int take(void)
{
    int top = heap[1], last = heap[size--], at = 1;
    for (;;) {
        int child = 2 * at;
        if (child > size) break;
        if (child < size && distance[heap[child + 1]] < distance[heap[child]]) child++;
        if (distance[heap[child]] >= distance[last]) break;
        put(at, heap[child]);
        at = child;
    }
    put(at, last);
    return top;
}

static void shortest(int start)
{
    size = 0;
    for (int i = 0; i < NODES; i++) {
        distance[i] = FAR;
        put(++size, i);
    }
    distance[start] = 0;
    rise(start);
    while (size) {
        int node = take();
        if (distance[node] == FAR) break;
        for (int e = first[node]; e >= 0; e = edges[e].next) {
            int through = distance[node] + edges[e].length;
            if (through < distance[edges[e].to]) {
                distance[edges[e].to] = through;
                rise(edges[e].to);
            }
        }
    }
}

int main(void)
{
    unsigned state = 99;
    long long sum = 0;
    for (int i = 0; i < NODES; i++) first[i] = -1;
    for (int e = 0; e < EDGES; e++) {
        state = state * 1664525 + 1013904223;
        int from = (state >> 10) % NODES;
        edges[e] = (struct edge){(state >> 5) % NODES, 1 + (state >> 24), first[from]};
        first[from] = e;
    }
    for (int start = 0; start < 6; start++) {
        shortest(start);
        for (int i = 0; i < NODES; i++) sum += distance[i] == FAR ? 0 : distance[i];
    }
    printf("%lld\n", sum);
    return 0;
}
