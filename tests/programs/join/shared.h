struct node;
typedef struct list {
    struct list* next;
    struct node* owner;
    int value;
} list_t;
struct pair {
    int a, b;
};
enum color { red, green = 7 };

extern int counter, table[], merged;
extern struct node* root;
extern enum color chosen;
int twice(int);
int weakly(void), missing(void) __attribute__((weak)), renamed(int) __asm__("other_name");
struct pair swap(struct pair);
list_t* make(int);
int total(const list_t*), node_value(struct node*), unprototyped();
void stop(int) __attribute__((noreturn));
static inline int helper(int x) {
    static int calls;
    return x + ++calls;
}
inline __attribute__((gnu_inline)) extern int twice_plus(int x) { return 2 * x + 1; }
