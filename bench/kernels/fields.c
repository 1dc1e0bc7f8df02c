/* Records of bit-fields: orders of an exchange that are packed, changed and matched. */
#include <stdio.h>

#define ORDERS 512
struct order {
    unsigned kind : 2, side : 1, live : 1, price : 12, amount : 10, source : 6;
};

static struct order orders[ORDERS];

static void place(unsigned state)
{
    struct order *order = &orders[state >> 5 & (ORDERS - 1)];
    order->kind = state >> 14 & 3;
    order->side = state >> 16 & 1;
    order->live = 1;
    order->price = 2000 + (state >> 17 & 63);
    order->amount = 1 + (state >> 23);
    order->source = state >> 3;
}

static int fits(const struct order *a, const struct order *b)
{
    return a->live && b->live && a->kind == b->kind && a->side != b->side && a->source != b->source &&
           (a->side ? a->price <= b->price : a->price >= b->price);
}

static unsigned match(struct order *a, struct order *b)
{
    unsigned amount = a->amount < b->amount ? a->amount : b->amount;
    a->amount -= amount;
    b->amount -= amount;
    if (!a->amount) a->live = 0;
    if (!b->amount) b->live = 0;
    return amount;
}

int main(void)
{
    unsigned state = 11, traded = 0, live = 0;
    for (int round = 0; round < 60; round++) {
        for (int i = 0; i < 64; i++) {
            state = state * 1664525 + 1013904223;
            place(state);
        }
        for (int i = 0; i < ORDERS; i += 3)
            for (int j = i + 1; j < i + 8 && j < ORDERS; j++)
                if (fits(&orders[i], &orders[j])) traded += match(&orders[i], &orders[j]);
    }
    for (int i = 0; i < ORDERS; i++) live += orders[i].live;
    printf("%u traded, %u live\n", traded, live);
    return 0;
}
