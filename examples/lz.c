/* A compressor of the LZ77 family: matches are found through chains of hashed positions, and stored as bytes.
 *
 *   token:  0LLLLLLL                 1 to 128 literal bytes follow
 *           1LLLLDDD DDDDDDDD        a match of 3 to 18 bytes, 1 to 2048 bytes back
 *
 * Exercises: byte arrays, hash chains, overlapping copies, unsigned arithmetic of several widths.
 */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

enum { WINDOW = 2048, MIN_MATCH = 3, MAX_MATCH = 18, HASH_BITS = 11, MAX_CHAIN = 32, LIMIT = 40000 };

static int32_t newest[1 << HASH_BITS]; /* latest position with a hash, -1 for none */
static int32_t previous[WINDOW];        /* the position before with the same hash */

static unsigned hash3(const uint8_t *p)
{
    return ((uint32_t)(p[0] | p[1] << 8 | p[2] << 16) * 2654435761u) >> (32 - HASH_BITS);
}

static int match_length(const uint8_t *a, const uint8_t *b, int limit)
{
    int n = 0;

    while (n < limit && a[n] == b[n])
        n++;
    return n;
}

static void enter(const uint8_t *in, int at, int size)
{
    if (at + MIN_MATCH > size)
        return;
    unsigned h = hash3(in + at);
    previous[at % WINDOW] = newest[h];
    newest[h] = at;
}

/* The longest match for position `at`; its distance goes to `*distance`. */
static int find_match(const uint8_t *in, int at, int size, int *distance)
{
    int limit = size - at < MAX_MATCH ? size - at : MAX_MATCH;
    int best = 0, tries = MAX_CHAIN;

    if (limit < MIN_MATCH)
        return 0;
    for (int32_t c = newest[hash3(in + at)]; c >= 0 && at - c <= WINDOW && tries--; c = previous[c % WINDOW]) {
        int n = match_length(in + c, in + at, limit);
        if (n > best) {
            best = n;
            *distance = at - c;
            if (n == limit)
                break;
        }
        if (previous[c % WINDOW] >= c)
            break;
    }
    return best >= MIN_MATCH ? best : 0;
}

static uint8_t *put_literals(uint8_t *out, const uint8_t *from, int n)
{
    while (n > 0) {
        int part = n < 128 ? n : 128;
        *out++ = (uint8_t)(part - 1);
        memcpy(out, from, (size_t)part);
        out += part;
        from += part;
        n -= part;
    }
    return out;
}

static int compress(const uint8_t *in, int size, uint8_t *out)
{
    uint8_t *start = out;
    int literals = 0, at = 0, distance = 0;

    memset(newest, -1, sizeof newest);
    while (at < size) {
        int n = find_match(in, at, size, &distance);
        if (!n) {
            enter(in, at++, size);
            literals++;
            continue;
        }
        out = put_literals(out, in + at - literals, literals);
        literals = 0;
        unsigned code = 0x8000u | (unsigned)(n - MIN_MATCH) << 11 | (unsigned)(distance - 1);
        *out++ = (uint8_t)(code >> 8);
        *out++ = (uint8_t)code;
        while (n--)
            enter(in, at++, size);
    }
    return (int)(put_literals(out, in + at - literals, literals) - start);
}

static int expand(const uint8_t *in, int size, uint8_t *out)
{
    const uint8_t *end = in + size;
    uint8_t *start = out;

    while (in < end) {
        unsigned token = *in++;
        if (token < 0x80) {
            memcpy(out, in, token + 1);
            out += token + 1;
            in += token + 1;
        } else {
            unsigned code = token << 8 | *in++;
            unsigned n = (code >> 11 & 15) + MIN_MATCH;
            const uint8_t *from = out - (code & 2047) - 1;
            while (n--)
                *out++ = *from++; /* may overlap */
        }
    }
    return (int)(out - start);
}

static uint32_t checksum(const uint8_t *p, int n)
{
    uint32_t a = 1, b = 0;

    while (n--) {
        a = (a + *p++) % 65521;
        b = (b + a) % 65521;
    }
    return b << 16 | a;
}

static int make_text(uint8_t *p, int size)
{
    static const char *const words[] = {"the ", "optimizer ", "reads ", "a ", "file ", "and ", "writes ", "another ",
                                        "block ", "graph ", "of ", "trees", ".\n", "loop ", "value ", "register "};
    uint32_t seed = 1;
    int n = 0;

    while (n < size - 16) {
        seed = seed * 1103515245 + 12345;
        const char *w = words[seed >> 16 & 15];
        while (*w)
            p[n++] = (uint8_t)*w++;
    }
    return n;
}

static int make_noise(uint8_t *p, int size)
{
    uint32_t seed = 99;

    for (int i = 0; i < size; i++) {
        seed ^= seed << 13;
        seed ^= seed >> 17;
        seed ^= seed << 5;
        p[i] = (uint8_t)seed;
    }
    return size;
}

static int make_runs(uint8_t *p, int size)
{
    for (int i = 0; i < size; i++)
        p[i] = (uint8_t)(i / 700);
    return size;
}

int main(void)
{
    static uint8_t original[LIMIT], packed[LIMIT + LIMIT / 64], back[LIMIT];
    static const struct {
        const char *name;
        int (*make)(uint8_t *, int);
        int size;
    } cases[] = {{"text", make_text, LIMIT}, {"noise", make_noise, 9000}, {"runs", make_runs, LIMIT},
                 {"empty", make_runs, 0},    {"one", make_noise, 1}};
    int bad = 0;

    for (unsigned i = 0; i < sizeof cases / sizeof *cases; i++) {
        int size = cases[i].make(original, cases[i].size);
        int n = compress(original, size, packed);
        int m = expand(packed, n, back);
        int same = m == size && memcmp(original, back, (size_t)size) == 0;
        printf("%-6s %6d -> %6d  %08lx %08lx  %s\n", cases[i].name, size, n, (unsigned long)checksum(packed, n),
               (unsigned long)checksum(back, m), same ? "same" : "DIFFERENT");
        bad += !same;
    }
    return bad;
}
