/* Prints the mode of the active virtual terminal ("text" or "graphics") and
 * its keyboard mode, for the virtual board's console checks. */
#include <fcntl.h>
#include <linux/kd.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <unistd.h>

int main(void) {
    int fd = open("/dev/tty0", O_RDONLY | O_NOCTTY);
    int mode = -1, kb = -1;
    if (fd < 0 || ioctl(fd, KDGETMODE, &mode) != 0) {
        perror("kdmode: /dev/tty0");
        return 1;
    }
    ioctl(fd, KDGKBMODE, &kb);
    printf("%s %s\n", mode == KD_TEXT ? "text" : "graphics",
           kb == K_OFF ? "off" : kb == K_XLATE ? "xlate" : kb == K_UNICODE ? "unicode" : kb == K_RAW ? "raw" : "other");
    close(fd);
    return 0;
}
