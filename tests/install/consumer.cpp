// Renders one red frame with an installed Lumox and checks a pixel.
#include <lumox/lumox.h>

#include <cstdio>

int main() {
  lumox::TComponent Form(nullptr);
  auto* View = new lumox::TLumView(&Form);
  View->SetBackgroundColor(0x0000FF);
  lumox::TBitmap B(8, 8);
  if (!View->GetImage(&B) || B.GetPixel(4, 4) != 0x0000FF) {
    std::fprintf(stderr, "consumer: unexpected frame\n");
    return 1;
  }
  std::printf("consumer: Lumox %s renders\n", LUMOX_VERSION_STRING);
  return 0;
}
