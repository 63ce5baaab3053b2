/* A library that is loaded before anybody's constructor ran, and opens a device in its own. */
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

static int early_result;
static unsigned early_mode;

__attribute__((constructor)) static void open_early(void)
{
    struct stat status = {0};
    const int fd = open("/dev/adecode", O_RDWR);

    early_result = fd < 0 ? errno : 0;
    stat("/dev/adecode", &status);
    early_mode = status.st_mode;
    if (fd >= 0)
        close(fd);
}

void early_report(void);

void early_report(void)
{
    printf("%s %o\n", strerror(early_result), early_mode);
}
