/* SHA-256, checked against the published test vectors, then used to digest a stream of generated data.
 *
 * Exercises: 32-bit rotations and additions that wrap, tables of constants, byte order, buffers that are filled
 * piece by piece.
 */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

struct sha256 {
    uint32_t state[8];
    uint64_t length; /* bytes so far */
    unsigned used;   /* bytes waiting in `block` */
    uint8_t block[64];
};

static const uint32_t round_constants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

static uint32_t rotate(uint32_t x, int n) { return x >> n | x << (32 - n); }

static void sha256_begin(struct sha256 *s)
{
    static const uint32_t initial[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                        0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    memcpy(s->state, initial, sizeof initial);
    s->length = 0;
    s->used = 0;
}

static void digest_block(uint32_t state[8], const uint8_t *p)
{
    uint32_t w[64], v[8];
    int i;

    for (i = 0; i < 16; i++, p += 4)
        w[i] = (uint32_t)p[0] << 24 | (uint32_t)p[1] << 16 | (uint32_t)p[2] << 8 | p[3];
    for (; i < 64; i++) {
        uint32_t a = rotate(w[i - 15], 7) ^ rotate(w[i - 15], 18) ^ w[i - 15] >> 3;
        uint32_t b = rotate(w[i - 2], 17) ^ rotate(w[i - 2], 19) ^ w[i - 2] >> 10;
        w[i] = w[i - 16] + a + w[i - 7] + b;
    }
    memcpy(v, state, sizeof v);
    for (i = 0; i < 64; i++) {
        uint32_t s1 = rotate(v[4], 6) ^ rotate(v[4], 11) ^ rotate(v[4], 25);
        uint32_t choice = (v[4] & v[5]) ^ (~v[4] & v[6]);
        uint32_t t1 = v[7] + s1 + choice + round_constants[i] + w[i];
        uint32_t s0 = rotate(v[0], 2) ^ rotate(v[0], 13) ^ rotate(v[0], 22);
        uint32_t majority = (v[0] & v[1]) ^ (v[0] & v[2]) ^ (v[1] & v[2]);
        uint32_t t2 = s0 + majority;
        v[7] = v[6];
        v[6] = v[5];
        v[5] = v[4];
        v[4] = v[3] + t1;
        v[3] = v[2];
        v[2] = v[1];
        v[1] = v[0];
        v[0] = t1 + t2;
    }
    for (i = 0; i < 8; i++)
        state[i] += v[i];
}

static void sha256_add(struct sha256 *s, const void *data, size_t size)
{
    const uint8_t *p = data;

    s->length += size;
    while (size--) {
        s->block[s->used++] = *p++;
        if (s->used == 64) {
            digest_block(s->state, s->block);
            s->used = 0;
        }
    }
}

static void sha256_end(struct sha256 *s, uint8_t digest[32])
{
    uint64_t bits = s->length * 8;
    uint8_t tail[8];
    int i;

    sha256_add(s, "\x80", 1);
    while (s->used != 56)
        sha256_add(s, "", 1);
    for (i = 0; i < 8; i++)
        tail[i] = (uint8_t)(bits >> (56 - 8 * i));
    sha256_add(s, tail, 8);
    for (i = 0; i < 32; i++)
        digest[i] = (uint8_t)(s->state[i / 4] >> (24 - 8 * (i % 4)));
}

static void to_hex(const uint8_t digest[32], char text[65])
{
    int i;

    for (i = 0; i < 32; i++)
        sprintf(text + 2 * i, "%02x", digest[i]);
}

static int check(const char *message, const char *expected)
{
    struct sha256 s;
    uint8_t digest[32];
    char text[65];

    sha256_begin(&s);
    sha256_add(&s, message, strlen(message));
    sha256_end(&s, digest);
    to_hex(digest, text);
    printf("%s \"%s\"\n", text, message);
    return strcmp(text, expected) == 0;
}

int main(void)
{
    struct sha256 s;
    uint8_t digest[32], chunk[97];
    char text[65];
    uint32_t seed = 12345;
    int good = 1, i, round;

    good &= check("", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    good &= check("abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    good &= check("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
                  "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");

    sha256_begin(&s);
    for (round = 0; round < 1500; round++) {
        for (i = 0; i < 97; i++) {
            seed = seed * 1664525 + 1013904223;
            chunk[i] = (uint8_t)(seed >> 24);
        }
        sha256_add(&s, chunk, 1 + (unsigned)round % 97);
    }
    sha256_end(&s, digest);
    to_hex(digest, text);
    printf("%s of %lu bytes\n", text, (unsigned long)s.length);
    puts(good ? "all vectors agree" : "A VECTOR DIFFERS");
    return !good;
}
