// File-level things: objects of a thread, assembly text, a loop pragma.
#include <stdio.h>
_Thread_local int tl = 4; static __thread int tz;
__asm__(".globl from_asm\n.type from_asm,%function\nfrom_asm: mov r0,#77\n bx lr\n");
extern int from_asm(void);
int arr[100];
int sum(int n) { int s = 0;
#pragma unroll 4
 for (int i = 0; i < n; i++) s += arr[i];
 return s; }
int main(void) { tl++; tz += 2; for (int i = 0; i < 100; i++) arr[i] = i; printf("%d %d %d %d\n", tl, tz, from_asm(), sum(100)); return 0; }
