/* A scanner for a C-like language, as a state machine in one large switch, and a keyword recognizer in another.
 *
 * Exercises: switches that are dense, sparse and nested, gotos between states, fall-through, character classes,
 * counters in tables.
 */
#include <stdio.h>
#include <string.h>

enum token { END, NAME, KEYWORD, INTEGER, REAL, STRING, CHARACTER, OPERATOR, COMMENT, BAD, TOKENS };

static const char *const token_names[TOKENS] = {"end",       "name",     "keyword", "integer", "real", "string",
                                                "character", "operator", "comment", "bad"};

struct scanner {
    const char *at, *start;
    int line;
};

enum state { FIRST, IN_NAME, ZERO, DECIMAL, HEX, FRACTION, EXPONENT, EXPONENT_SIGN, EXPONENT_DIGITS, IN_STRING,
             ESCAPE, IN_CHARACTER, CHARACTER_ESCAPE, SLASH, LINE_COMMENT, BLOCK_COMMENT, BLOCK_STAR, MAYBE_EQUAL,
             MAYBE_DOUBLE };

static int is_keyword(const char *s, int n)
{
    switch (n) {
    case 2: return !memcmp(s, "if", 2) || !memcmp(s, "do", 2);
    case 3: return !memcmp(s, "for", 3) || !memcmp(s, "int", 3);
    case 4:
        switch (*s) {
        case 'e': return !memcmp(s, "else", 4);
        case 'c': return !memcmp(s, "char", 4) || !memcmp(s, "case", 4);
        case 'v': return !memcmp(s, "void", 4);
        case 'g': return !memcmp(s, "goto", 4);
        }
        return 0;
    case 5: return !memcmp(s, "while", 5) || !memcmp(s, "break", 5);
    case 6: return !memcmp(s, "return", 6) || !memcmp(s, "switch", 6) || !memcmp(s, "static", 6);
    case 8: return !memcmp(s, "continue", 8);
    default: return 0;
    }
}

static enum token scan(struct scanner *s)
{
    enum state state = FIRST;
    char opening = 0;

    for (;;) {
        char c = *s->at;
        switch (state) {
        case FIRST:
            s->start = s->at;
            switch (c) {
            case 0: return END;
            case '\n': s->line++; /* fall through */
            case ' ':
            case '\t':
            case '\r': break;
            case 'a': case 'b': case 'c': case 'd': case 'e': case 'f': case 'g': case 'h': case 'i': case 'j':
            case 'k': case 'l': case 'm': case 'n': case 'o': case 'p': case 'q': case 'r': case 's': case 't':
            case 'u': case 'v': case 'w': case 'x': case 'y': case 'z': case '_':
            case 'A': case 'B': case 'C': case 'D': case 'E': case 'F': case 'G': case 'H': case 'I': case 'J':
            case 'K': case 'L': case 'M': case 'N': case 'O': case 'P': case 'Q': case 'R': case 'S': case 'T':
            case 'U': case 'V': case 'W': case 'X': case 'Y': case 'Z': state = IN_NAME; break;
            case '0': state = ZERO; break;
            case '1': case '2': case '3': case '4': case '5': case '6': case '7': case '8': case '9':
                state = DECIMAL;
                break;
            case '"': state = IN_STRING; break;
            case '\'': state = IN_CHARACTER; break;
            case '/': state = SLASH; break;
            case '=': case '!': case '*': case '%': case '^': state = MAYBE_EQUAL; break;
            case '+': case '-': case '<': case '>': case '&': case '|':
                opening = c;
                state = MAYBE_DOUBLE;
                break;
            case '(': case ')': case '[': case ']': case '{': case '}': case ';': case ',': case '.': case '?':
            case ':': case '~': s->at++; return OPERATOR;
            default: s->at++; return BAD;
            }
            break;
        case IN_NAME:
            if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_')
                break;
            return is_keyword(s->start, (int)(s->at - s->start)) ? KEYWORD : NAME;
        case ZERO:
            if (c == 'x' || c == 'X') {
                state = HEX;
                break;
            }
            state = DECIMAL; /* fall through */
        case DECIMAL:
            if (c >= '0' && c <= '9')
                break;
            if (c == '.')
                state = FRACTION;
            else if (c == 'e' || c == 'E')
                state = EXPONENT;
            else
                return INTEGER;
            break;
        case HEX:
            if (!c || !strchr("0123456789abcdefABCDEF", c))
                return s->at - s->start > 2 ? INTEGER : BAD;
            break;
        case FRACTION:
            if (c >= '0' && c <= '9')
                break;
            if (c != 'e' && c != 'E')
                return REAL;
            state = EXPONENT;
            break;
        case EXPONENT:
            if (c == '+' || c == '-') {
                state = EXPONENT_SIGN;
                break;
            } /* fall through */
        case EXPONENT_SIGN:
            if (c < '0' || c > '9')
                return BAD;
            state = EXPONENT_DIGITS;
            break;
        case EXPONENT_DIGITS:
            if (c < '0' || c > '9')
                return REAL;
            break;
        case IN_STRING:
            if (c == '"')
                goto take_last_string;
            if (c == '\n' || !c)
                return BAD;
            if (c == '\\')
                state = ESCAPE;
            break;
        case ESCAPE:
            if (!c)
                return BAD;
            state = IN_STRING;
            break;
        case IN_CHARACTER:
            if (c == '\'')
                goto take_last_character;
            if (c == '\n' || !c)
                return BAD;
            if (c == '\\')
                state = CHARACTER_ESCAPE;
            break;
        case CHARACTER_ESCAPE: state = c ? IN_CHARACTER : FIRST; break;
        case SLASH:
            if (c == '/')
                state = LINE_COMMENT;
            else if (c == '*')
                state = BLOCK_COMMENT;
            else if (c == '=')
                goto take_last_operator;
            else
                return OPERATOR;
            break;
        case LINE_COMMENT:
            if (c == '\n' || !c)
                return COMMENT;
            break;
        case BLOCK_STAR:
            if (c == '/')
                goto take_last_comment;
            state = BLOCK_COMMENT; /* fall through */
        case BLOCK_COMMENT:
            if (!c)
                return BAD;
            if (c == '*')
                state = BLOCK_STAR;
            if (c == '\n')
                s->line++;
            break;
        case MAYBE_DOUBLE:
            if (c == opening || (opening == '-' && c == '>'))
                goto take_last_operator; /* fall through */
        case MAYBE_EQUAL:
            if (c == '=')
                goto take_last_operator;
            return OPERATOR;
        }
        s->at++;
    }

take_last_string:
    s->at++;
    return STRING;
take_last_character:
    s->at++;
    return CHARACTER;
take_last_comment:
    s->at++;
    return COMMENT;
take_last_operator:
    s->at++;
    return OPERATOR;
}

static const char source[] =
    "/* a sample ** with stars **/\n"
    "static int total(const char *p, int n) {\n"
    "    int sum = 0x1F, i; // counts\n"
    "    for (i = 0; i < n && p[i] != '\\''; i++) sum += p[i] << 3 | 7;\n"
    "    while (sum >= 1000) { sum -= 999; if (sum == 5) break; else continue; }\n"
    "    return sum * 3.25e-2 / 1e9 + .5 - 0x ^ 12.e+ @ \"text \\\" more\" -> x1;\n"
    "}\n"
    "do { a <<= 2; b = c ? d : ~e; goto done; } \"unterminated\n"
    "'x' '\\n' 007 1.5 2E10 3e+5 $ #\n";

int main(void)
{
    struct scanner s = {source, source, 1};
    unsigned counts[TOKENS] = {0}, long_counts[TOKENS] = {0}, characters = 0;
    enum token t;

    while ((t = scan(&s)) != END) {
        counts[t]++;
        printf("%d:%s:%.*s%s", s.line, token_names[t], (int)(s.at - s.start), s.start,
               (counts[NAME] + counts[OPERATOR]) % 4 ? " " : "\n");
    }
    putchar('\n');
    for (int round = 0; round < 150; round++) {
        s.at = source + round % 60;
        s.line = 1;
        while ((t = scan(&s)) != END) {
            long_counts[t]++;
            characters += (unsigned)(s.at - s.start);
        }
    }
    for (t = NAME; t < TOKENS; t++)
        printf("%-9s %3u %6u\n", token_names[t], counts[t], long_counts[t]);
    printf("%u characters, %d lines\n", characters, s.line);
    return 0;
}
