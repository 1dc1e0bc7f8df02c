/* A JSON reader and writer: text to a tree of values, the tree to text in one normal form.
 *
 * Exercises: recursive descent, unions with a tag, linked lists, strings, floating-point text, errors that unwind
 * with setjmp.
 */
#include <setjmp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum kind { NOTHING, TRUTH, NUMBER, STRING, LIST, OBJECT };

struct value {
    enum kind kind;
    char *key; /* of a member of an object */
    struct value *next;
    union {
        int truth;
        double number;
        char *string;
        struct value *first;
    } u;
};

static const char *at;          /* next character to read */
static const char *problem;     /* why reading failed */
static jmp_buf failed;
static int allocated, released; /* blocks of memory, to find leaks */

static void fail(const char *why)
{
    problem = why;
    longjmp(failed, 1);
}

static void *take(size_t size)
{
    void *block = calloc(1, size);

    if (!block)
        fail("no memory");
    allocated++;
    return block;
}

static void give_back(void *block)
{
    if (block)
        released++;
    free(block);
}

static void skip_space(void)
{
    while (*at == ' ' || *at == '\n' || *at == '\t' || *at == '\r')
        at++;
}

static int accept(char c)
{
    skip_space();
    if (*at != c)
        return 0;
    at++;
    return 1;
}

static unsigned hex_digit(void)
{
    char c = *at++;

    if (c >= '0' && c <= '9')
        return (unsigned)(c - '0');
    if ((c | 32) >= 'a' && (c | 32) <= 'f')
        return (unsigned)((c | 32) - 'a' + 10);
    at--;
    fail("bad escape");
    return 0;
}

static char *put_utf8(char *out, unsigned code)
{
    if (code < 0x80) {
        *out++ = (char)code;
    } else if (code < 0x800) {
        *out++ = (char)(0xC0 | code >> 6);
        *out++ = (char)(0x80 | (code & 0x3F));
    } else {
        *out++ = (char)(0xE0 | code >> 12);
        *out++ = (char)(0x80 | (code >> 6 & 0x3F));
        *out++ = (char)(0x80 | (code & 0x3F));
    }
    return out;
}

static char *read_escape(char *out)
{
    static const char from[] = "\"\\/bfnrt", to[] = "\"\\/\b\f\n\r\t";
    char c = *at++;

    if (c == 'u') {
        unsigned code = 0;
        for (int i = 0; i < 4; i++)
            code = code << 4 | hex_digit();
        return put_utf8(out, code);
    }
    const char *found = c ? strchr(from, c) : NULL;
    if (!found)
        fail("bad escape");
    *out++ = to[found - from];
    return out;
}

static char *read_string(void)
{
    if (!accept('"'))
        fail("a string is missing");
    size_t room = 1;
    for (const char *p = at; *p && *p != '"'; p++, room++)
        if (*p == '\\' && p[1])
            p++, room++;
    char *text = take(room), *out = text;
    while (*at != '"') {
        if (!*at)
            fail("unterminated string");
        if (*at == '\\') {
            at++;
            out = read_escape(out);
        } else
            *out++ = *at++;
    }
    at++;
    *out = 0;
    return text;
}

static struct value *read_value(int depth);

static void read_items(struct value *v, char end, int depth)
{
    struct value **tail = &v->u.first;

    if (accept(end))
        return;
    do {
        char *key = NULL;
        if (v->kind == OBJECT) {
            key = read_string();
            if (!accept(':'))
                fail("':' is missing");
        }
        *tail = read_value(depth + 1);
        (*tail)->key = key;
        tail = &(*tail)->next;
    } while (accept(','));
    if (!accept(end))
        fail(end == ']' ? "']' is missing" : "'}' is missing");
}

static int word(const char *text)
{
    size_t n = strlen(text);

    if (strncmp(at, text, n) != 0)
        return 0;
    at += n;
    return 1;
}

static struct value *read_value(int depth)
{
    struct value *v = take(sizeof *v);

    if (depth > 100)
        fail("nested too deep");
    skip_space();
    switch (*at) {
    case '{':
        at++;
        v->kind = OBJECT;
        read_items(v, '}', depth);
        break;
    case '[':
        at++;
        v->kind = LIST;
        read_items(v, ']', depth);
        break;
    case '"':
        v->kind = STRING;
        v->u.string = read_string();
        break;
    case 't':
    case 'f':
        v->kind = TRUTH;
        v->u.truth = *at == 't';
        if (!word(v->u.truth ? "true" : "false"))
            fail("unknown word");
        break;
    case 'n':
        if (!word("null"))
            fail("unknown word");
        break;
    default: {
        char *end;
        v->kind = NUMBER;
        v->u.number = strtod(at, &end);
        if (end == at)
            fail("a value is missing");
        at = end;
    }
    }
    return v;
}

static void write_string(const char *s)
{
    putchar('"');
    for (; *s; s++)
        if (*s == '"' || *s == '\\')
            printf("\\%c", *s);
        else if ((unsigned char)*s < ' ')
            printf("\\u%04x", *s);
        else
            putchar(*s);
    putchar('"');
}

static void write_value(const struct value *v)
{
    switch (v->kind) {
    case NOTHING: fputs("null", stdout); break;
    case TRUTH: fputs(v->u.truth ? "true" : "false", stdout); break;
    case NUMBER: printf("%.12g", v->u.number); break;
    case STRING: write_string(v->u.string); break;
    case LIST:
    case OBJECT:
        putchar(v->kind == LIST ? '[' : '{');
        for (const struct value *i = v->u.first; i; i = i->next) {
            if (i->key) {
                write_string(i->key);
                putchar(':');
            }
            write_value(i);
            if (i->next)
                putchar(',');
        }
        putchar(v->kind == LIST ? ']' : '}');
    }
}

static double sum_of_numbers(const struct value *v)
{
    double sum = 0;

    if (v->kind == NUMBER)
        return v->u.number;
    if (v->kind == LIST || v->kind == OBJECT)
        for (const struct value *i = v->u.first; i; i = i->next)
            sum += sum_of_numbers(i);
    return sum;
}

static void release(struct value *v)
{
    while (v) {
        struct value *next = v->next;
        if (v->kind == LIST || v->kind == OBJECT)
            release(v->u.first);
        if (v->kind == STRING)
            give_back(v->u.string);
        give_back(v->key);
        give_back(v);
        v = next;
    }
}

/* Reads `text`; prints what it is when `show`, and answers the sum of its numbers. */
static double process(const char *text, int show)
{
    at = text;
    if (setjmp(failed)) {
        printf("error at %d: %s\n", (int)(at - text), problem);
        return -1;
    }
    struct value *v = read_value(0);
    skip_space();
    if (*at)
        fail("text behind the value");
    double sum = sum_of_numbers(v);
    if (show) {
        write_value(v);
        printf("   sum %g\n", sum);
    }
    release(v);
    return sum;
}

int main(void)
{
    static const char *const texts[] = {
        " { \"name\" : \"pelorus\", \"parts\":[1, 2.5 ,-3e2,true,false,null], \"empty\": {}, \"none\":[] } ",
        "[\"a\\\"b\\\\c\\n\\u00e9\\u20ac\", \"\", [[[[1],2],3],4]]",
        "-0.001220703125",
    };
    static const char *const bad[] = {"{\"a\" 1}", "[1, 2", "\"abc", "[1,]", "nil", "[1] 2", "\"\\u12g4\"", "{1:2}"};
    static char large[60000];
    int n = 0;

    for (unsigned i = 0; i < sizeof texts / sizeof *texts; i++)
        process(texts[i], 1);
    if (allocated != released)
        puts("MEMORY IS LOST");
    for (unsigned i = 0; i < sizeof bad / sizeof *bad; i++)
        process(bad[i], 0);

    n += sprintf(large + n, "[");
    for (int i = 0; i < 1500; i++)
        n += sprintf(large + n, "%s{\"id\":%d,\"ok\":%s,\"s\":\"x%d\"}", i ? "," : "", i, i % 3 ? "true" : "false", i);
    sprintf(large + n, "]");
    printf("%d characters, sum %.0f\n", (int)strlen(large), process(large, 0));
    return 0;
}
