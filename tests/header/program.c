#include <orka_idecode.h>
#include <orka_status.h>
#include <stdio.h>

int main(void)
{
    const char *image = orka_idecode_get_codec_name(ORKA_VIDEO_TYPE_MPEG4, ORKA_AUDIO_TYPE_AAC);

    return printf("%s %s\n", orka_status_string(ORKA_STATUS_SUCCESS), image) < 0;
}
