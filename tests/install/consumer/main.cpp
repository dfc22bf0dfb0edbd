#include "image/Renderable.h"

int main()
{
    return Renderable::calculateRequiredBufferSize(512, 512, 16, 1, "MONOCHROME2") == 524288 ? 0 : 1;
}
