"""What bench/run.py generates to measure: files of many functions, and functions of many blocks or variables."""
import random


def generated_source(functions):
    """A C file of so many functions, each with arithmetic, a loop, a switch, calls and memory accesses."""
    parts = ["extern int g[64]; int g[64]; struct s { int a, b; struct s *next; };\n"]
    for n in range(functions):
        callee = f"f{n - 1}(p, x - 1)" if n else "x"
        parts.append(f"""
int f{n}(struct s *p, int x) {{
    int sum = {n}, i;
    for (i = 0; i < x; i++) {{
        sum += g[(i + {n}) & 63] * (p->a - i);
        if (sum > {1000 + n} && p->next) p = p->next;
        else sum ^= p->b << (i & 7);
    }}
    switch (sum & 7) {{
    case 0: return {callee};
    case 1: sum += 3; break;
    case 2: case 3: sum *= {n % 13 + 2}; break;
    default: p->a = sum; g[x & 63] = (int)(sum * 0.5);
    }}
    return sum;
}}
""")
    parts.append("int main(void) { struct s s = { 1, 2, 0 }; return f0(&s, 3) & 1; }\n")
    return "".join(parts)


# --- Functions of many blocks, in the text form ---

def jumps(size):
    """A chain of blocks, each the only one that leads to the next."""
    for n in range(1, size + 1):
        yield f"label {n}\nstatement ASG:int(@_g, PLUS:int(@_g, {n}:int))\nstatement BRANCH(LABEL {n + 1})"
    yield f"label {size + 1}"


def tests(size):
    """A chain of blocks that end in tests, all of which may leave for the end."""
    for n in range(1, size + 1):
        yield f"label {n}\nstatement ASG:int(@_g, {n}:int)\nstatement IF(LT:int(@_h, {n}:int), COMMA(LABEL {n + 1}, LABEL {size + 1}))"
    yield f"label {size + 1}"


def switch(size):
    cases = ", ".join(f"CASE({n * 3}:int, LABEL {n})" for n in range(1, size + 1))
    yield f"statement SWITCH(@_h, COMMA({cases}, DEFAULT(LABEL {size + 1})))"
    for n in range(1, size + 1):
        yield f"label {n}\nstatement ASG:int(@_g, {n % 100}:int)\nstatement BRANCH(LABEL {size + 1})"
    yield f"label {size + 1}"


def nest(size):
    """Tests inside tests; behind each, a statement of its own."""
    for n in range(1, size + 1):
        yield f"statement IF(NEQ:int(ANDB:int(@_h, {n}:int), 0:int), COMMA(LABEL {n}, LABEL {size + n}))\nlabel {n}\nstatement ASG:int(@_g, {n}:int)"
    for n in range(size, 0, -1):
        yield f"label {size + n}\nstatement PLUSASG:int(@_g, {n}:int)"


def variables(statements, count):
    """Assignments among many variables, every eighth one behind a test."""
    dice = random.Random(1)
    for n in range(count):
        yield f'symbol "v{n}" class=auto type=int'
    for n in range(count):
        yield f"statement ASG:int(v{n}, @_g)"
    label = 1
    for n in range(statements):
        to, left, right = (dice.randrange(count) for _ in range(3))
        yield f"statement ASG:int(v{to}, PLUS:int(v{left}, MULT:int(v{right}, @_h)))"
        if n % 8 == 7 and label < 30000:
            yield f"statement IF(v{to}, COMMA(LABEL {label}, LABEL {label + 1}))\nlabel {label}\nstatement ASG:int(v{left}, {n}:int)\nlabel {label + 1}"
            label += 2
    yield "statement ASG:int(@_g, v0)"


VARIABLE_SIZES = ((1000, 10), (4000, 10), (16000, 10), (64000, 10), (16000, 100), (16000, 1000), (16000, 10000), (64000, 10000))

SHAPES = {"chain of jumps": (jumps, 20000), "chain of tests": (tests, 20000), "switch": (switch, 10000), "nest of tests": (nest, 5000)}

SHAPE_FILE = """header "shape.c"
function @_f
body
{body}
end_function
end
section types
type void.fn FUNCTION return=void
end
section file_names
file_name "shape.c"
end
section symbols
symbol "_f" class=extdef flags=defined type=void.fn
symbol "_g" class=extern flags=referenced type=int
symbol "_h" class=extern flags=referenced type=int
end
"""
