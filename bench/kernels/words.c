/* Counts words in a table with chains: pointers, characters, calls of the library. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define BUCKETS 256
struct word {
    struct word *next;
    unsigned count;
    char text[12];
};

static struct word *table[BUCKETS];

static unsigned hash(const char *text)
{
    unsigned h = 5381;
    while (*text) h = h * 33 ^ (unsigned char)*text++;
    return h % BUCKETS;
}

static struct word *find(const char *text)
{
    struct word **place = &table[hash(text)];
    for (; *place; place = &(*place)->next)
        if (!strcmp((*place)->text, text)) return *place;
    *place = calloc(1, sizeof **place);
    strcpy((*place)->text, text);
    return *place;
}

static void make_word(char *text, unsigned number)
{
    static const char syllables[][4] = {"ba", "do", "ki", "lu", "ne", "sta", "tri", "mo"};
    *text = 0;
    for (int i = 0; i < 3; i++, number >>= 3) strcat(text, syllables[number & 7]);
}

int main(void)
{
    unsigned state = 1, different = 0, most = 0;
    char text[12], best[12] = "";
    for (int i = 0; i < 20000; i++) {
        state = state * 1664525 + 1013904223;
        make_word(text, state >> 20 & state >> 7);
        find(text)->count++;
    }
    for (int i = 0; i < BUCKETS; i++)
        for (struct word *word = table[i]; word; word = word->next) {
            different++;
            if (word->count > most) most = word->count, strcpy(best, word->text);
        }
    printf("%u words, %s %u times\n", different, best, most);
    return 0;
}
