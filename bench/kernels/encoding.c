/* Bytes to characters and back (base 64), and their checksums: tables, shifts and narrow types. */
#include <stdint.h>
#include <stdio.h>

static const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
static uint8_t data[3000], decoded[3000], values[256];
static char text[4001];
static uint32_t table[256];

static void make_tables(void)
{
    for (uint32_t i = 0; i < 256; i++) {
        uint32_t c = i;
        for (int k = 0; k < 8; k++) c = c & 1 ? c >> 1 ^ 0xedb88320 : c >> 1;
        table[i] = c;
    }
    for (int i = 0; i < 64; i++) values[(uint8_t)digits[i]] = i;
}

static uint32_t checksum(const uint8_t *bytes, int size)
{
    uint32_t c = ~0u;
    while (size--) c = table[(c ^ *bytes++) & 0xff] ^ c >> 8;
    return ~c;
}

static void encode(const uint8_t *from, int size, char *to)
{
    for (; size > 0; size -= 3, from += 3) {
        uint32_t group = from[0] << 16 | from[1] << 8 | from[2];
        for (int shift = 18; shift >= 0; shift -= 6) *to++ = digits[group >> shift & 63];
    }
    *to = 0;
}

static void decode(const char *from, uint8_t *to)
{
    for (; *from; from += 4) {
        uint32_t group = 0;
        for (int i = 0; i < 4; i++) group = group << 6 | values[(uint8_t)from[i]];
        *to++ = group >> 16;
        *to++ = group >> 8;
        *to++ = group;
    }
}

int main(void)
{
    make_tables();
    for (int round = 0; round < 10; round++) {
        for (unsigned i = 0; i < sizeof data; i++) data[i] = i * i + round * 31 + (i >> 3);
        encode(data, sizeof data, text);
        decode(text, decoded);
        printf("%.16s %08x %08x\n", text, (unsigned)checksum(data, sizeof data), (unsigned)checksum(decoded, sizeof decoded));
    }
    return 0;
}
