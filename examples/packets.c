/* Packets with bit-fields: headers are put together from fields, sent as bytes, checked and taken apart again.
 *
 * Exercises: bit-fields of all widths, signed ones and ones beyond 32 bits, packed structures with members at odd
 * places, unions over the same bytes, byte order.
 */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

struct header { /* 16 bytes on the wire, least significant bit first */
    unsigned version : 4;
    unsigned kind : 3;
    unsigned urgent : 1;
    int priority : 5; /* -16..15 */
    unsigned length : 11;
    unsigned hops : 8;
    uint64_t sender : 36;
    uint64_t sequence : 20;
    uint64_t checksum_low : 8;
};

struct __attribute__((packed)) sample { /* odd offsets throughout */
    uint8_t channel;
    int32_t value;
    uint16_t tick;
    double scale;
    uint8_t flags : 3, gain : 5;
};

union register_view { /* a device register */
    uint32_t word;
    struct {
        uint32_t enable : 1, mode : 3, : 4, divider : 12, : 0;
    } f;
    uint8_t bytes[4];
};

enum { KINDS = 8, BUFFER = 512 };

static uint32_t seed = 0x2545F491;

static uint32_t random_bits(void)
{
    seed ^= seed << 13;
    seed ^= seed >> 17;
    return seed ^= seed << 5;
}

static uint16_t crc16(const uint8_t *p, int n)
{
    uint16_t crc = 0xFFFF;

    while (n--) {
        crc ^= (uint16_t)(*p++ << 8);
        for (int i = 0; i < 8; i++)
            crc = (uint16_t)(crc & 0x8000 ? crc << 1 ^ 0x1021 : crc << 1);
    }
    return crc;
}

static int pack(uint8_t *out, struct header *h, const struct sample *samples, int count)
{
    int n = (int)sizeof *h;

    for (int i = 0; i < count; i++) {
        memcpy(out + n, &samples[i], sizeof samples[i]);
        n += (int)sizeof samples[i];
    }
    h->length = (unsigned)n;
    h->checksum_low = 0;
    memcpy(out, h, sizeof *h);
    h->checksum_low = crc16(out, n);
    memcpy(out, h, sizeof *h);
    return n;
}

static int unpack(const uint8_t *in, struct header *h, struct sample *samples)
{
    uint8_t copy[BUFFER];
    struct header clean;

    memcpy(h, in, sizeof *h);
    memcpy(copy, in, h->length);
    clean = *h;
    clean.checksum_low = 0;
    memcpy(copy, &clean, sizeof clean);
    if ((crc16(copy, h->length) & 0xFF) != h->checksum_low)
        return -1;
    int count = (int)((h->length - sizeof *h) / sizeof *samples);
    memcpy(samples, in + sizeof *h, (size_t)count * sizeof *samples);
    return count;
}

static void make_header(struct header *h, int number)
{
    h->version = 5;
    h->kind = (unsigned)number; /* keeps the low 3 bits */
    h->urgent = number % 3 == 0;
    h->priority = number - 16;
    h->hops = 250;
    h->hops += (unsigned)number; /* wraps at 256 */
    h->sender = 0xABCDEF012ull * (uint64_t)(number + 1);
    h->sequence = (1u << 20) - 4;
    for (int i = 0; i < number; i++)
        h->sequence++;
}

static int make_samples(struct sample *s, int number)
{
    int count = 1 + number % 20;

    for (int i = 0; i < count; i++) {
        s[i].channel = (uint8_t)(i * 3);
        s[i].value = (int32_t)random_bits() >> 7;
        s[i].tick = (uint16_t)(65530 + i);
        s[i].scale = 1.0 / (1 + i);
        s[i].flags = (uint8_t)(i & 7);
        s[i].gain = (uint8_t)(31 - i);
    }
    return count;
}

static double evaluate(const struct sample *s, int count)
{
    double sum = 0;

    for (int i = 0; i < count; i++)
        sum += s[i].value * s[i].scale * (s[i].flags & 1 ? -1 : 1) + s[i].gain + s[i].tick;
    return sum;
}

static void show_header(const struct header *h)
{
    printf("v%u k%u %s p%d len%u hops%u from %09llx seq %lu sum %02x\n", h->version, h->kind, h->urgent ? "!" : "-",
           h->priority, h->length, h->hops, (unsigned long long)h->sender, (unsigned long)h->sequence,
           (unsigned)h->checksum_low);
}

static void exercise_register(void)
{
    union register_view r = {0};

    r.f.enable = 1;
    r.f.mode = 6;
    r.f.divider = 0xABC;
    printf("register %08lx %02x%02x%02x%02x", (unsigned long)r.word, r.bytes[0], r.bytes[1], r.bytes[2], r.bytes[3]);
    r.f.divider -= 0xBCD; /* borrows, but not into its neighbours */
    r.f.mode ^= 5;
    r.f.enable--;
    printf(" %08lx", (unsigned long)r.word);
    r.word = 0xFFFFFFFF;
    r.f.mode = 0;
    printf(" %08lx mode %d divider %d\n", (unsigned long)r.word, r.f.mode, r.f.divider);
}

int main(void)
{
    static uint8_t wire[BUFFER];
    struct sample sent[20], received[20];
    struct header out, in;
    int damaged_found = 0, damaged = 0;

    printf("sizes %d %d %d\n", (int)sizeof(struct header), (int)sizeof(struct sample), (int)sizeof(union register_view));
    exercise_register();
    memset(&out, 0, sizeof out);
    for (int number = 0; number < 300; number++) {
        make_header(&out, number % 32);
        int count = make_samples(sent, number);
        int n = pack(wire, &out, sent, count);
        if (unpack(wire, &in, received) != count || memcmp(sent, received, (size_t)count * sizeof *sent) != 0) {
            printf("PACKET %d IS WRONG\n", number);
            return 1;
        }
        if (number % 40 == 7) {
            show_header(&in);
            printf("  %d samples, %.6f\n", count, evaluate(received, count));
        }
        damaged++;
        unsigned place = 16 + random_bits() % (unsigned)(n - 16);
        wire[place] ^= (uint8_t)(1 << random_bits() % 8);
        damaged_found += unpack(wire, &in, received) < 0;
    }
    printf("%d of %d damaged packets found\n", damaged_found, damaged);
    return 0;
}
