/* The library that load_bench.cpp loads beside liborka.so. */
void orka_bench_nothing(void);

void orka_bench_nothing(void) {}
