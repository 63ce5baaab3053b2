#include <codecmap.h>
#include <stdio.h>

int main(void)
{
    return printf("%d %d\n", audio_codec_dm320_2_kor(ORKA_AUDIO_TYPE_G726), media_mem_is_dirty()) < 0;
}
