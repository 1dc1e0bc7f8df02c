/* A picture of three balls: vectors that are passed and returned as structures. */
#include <math.h>
#include <stdio.h>

typedef struct {
    float x, y, z;
} vector;
typedef struct {
    vector centre;
    float radius;
} ball;

static const ball balls[] = {{{0, 0, 5}, 1}, {{1.5f, 0.5f, 4}, 0.5f}, {{-1.5f, -0.3f, 4.5f}, 0.8f}};

static vector minus(vector a, vector b) { return (vector){a.x - b.x, a.y - b.y, a.z - b.z}; }
static vector scaled(vector a, float by) { return (vector){a.x * by, a.y * by, a.z * by}; }
static float dot(vector a, vector b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
static vector unit(vector a) { return scaled(a, 1 / sqrtf(dot(a, a))); }

/* Where the ray from the eye meets the ball; -1 for nowhere. */
static float meets(vector ray, const ball *b)
{
    float along = dot(ray, b->centre);
    float inside = along * along - dot(b->centre, b->centre) + b->radius * b->radius;
    return inside < 0 ? -1 : along - sqrtf(inside);
}

static int brightness(vector ray)
{
    const vector light = unit((vector){1, 1, -1});
    const ball *nearest = 0;
    float distance = 1e9f;
    for (unsigned i = 0; i < sizeof balls / sizeof *balls; i++) {
        float here = meets(ray, &balls[i]);
        if (here > 0 && here < distance) distance = here, nearest = &balls[i];
    }
    if (!nearest) return 0;
    float lit = dot(unit(minus(scaled(ray, distance), nearest->centre)), light);
    return 1 + (lit > 0 ? (int)(lit * 5) : 0);
}

int main(void)
{
    for (int row = 0; row < 40; row++) {
        for (int column = 0; column < 78; column++)
            putchar(" .:-=+*#"[brightness(unit((vector){(column - 39) / 48.0f, (20 - row) / 24.0f, 1}))]);
        putchar('\n');
    }
    return 0;
}
