/*
 * The platform's semaphores: named by a file and a key character, shared by all processes of the system, with
 * a life of their own. A board brings a library with these three functions; libpavosem.so stands in for it
 * where there is none, over System V semaphores.
 *
 * A semaphore outlives the processes that use it, and the death of a process that took one gives nothing
 * back. Failures leave the reason in errno. All functions may be called from any thread.
 */
#ifndef PAVOSEM_H
#define PAVOSEM_H

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/*
 * Opens the semaphore of a file and a key character, and creates it with an initial value, 0 to 32767, where
 * there is none; stores its identifier. The file is created too, for everybody to read and write. 0 when the
 * semaphore is new, 1 when it was there before, negative on failure, which stores nothing.
 */
int PavoSemCreate(const char *path, int key, int initial, int *id_out);

/*
 * Takes the semaphore: its value less one. wait must be 0: a semaphore whose value is 0 fails at once, with
 * EAGAIN. 0, or negative on failure.
 */
int PavoSemDown(int id, int wait);

/* Sets the semaphore's value, whatever it was. 0, or negative on failure. */
int PavoSemSetValue(int id, int value);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
