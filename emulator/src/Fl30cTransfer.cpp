#include "Fl30cTransfer.h"

namespace orrindale::emulator {

std::optional<Fl30cTransferLayout> Fl30cTransferLayout::forTransferWidth(int width)
{
    switch (width) {
    case 640:
        return Fl30cTransferLayout{640, 642, 640, 480};
    case 320:
        return Fl30cTransferLayout{320, 564, 320, 240};
    case 160:
        return Fl30cTransferLayout{160, 768, 160, 120};
    default:
        return std::nullopt;
    }
}

}  // namespace orrindale::emulator
