// The view from Python: images as NumPy arrays (the read-back is the only copy),
// picking, input, the application's idle processing; and bitmaps as arrays.
#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cstring>
#include <optional>
#include <vector>

#include "lumox/host/forms.h"
#include "lumox/host/graphics.h"
#include "lumox/view/lumview.h"
#include "lumox/view/lumwgl.h"
#include "lumoxpy.h"

namespace lumoxpy {

using namespace lumox;

namespace {

py::object Wrapped(TPersistent* P) { return py::reinterpret_steal<py::object>(Wrap(P)); }

// Why a view gave no image: the context layer's reason when no context can be made
// (no EGL display: the packages that bring one), else the frame failed.
[[noreturn]] void NoImage() {
  try {
    CreateEGLContext(1, 1);
  } catch (const Exception& E) {
    ThrowError(E.what());
  }
  ThrowError("The view could not render an image.");
}

// An image of the view's frame in a bitmap of W x H (the view's size by default).
std::unique_ptr<TBitmap> Frame(TLumView& V, std::optional<int> W, std::optional<int> H) {
  const int Width = W.value_or(V.Width()), Height = H.value_or(V.Height());
  if (Width <= 0 || Height <= 0)
    throw py::value_error("an image needs a positive width and height, not " +
                          std::to_string(Width) + " x " + std::to_string(Height));
  if (int64_t(Width) * Height > TBitmap::MaxImagePixels)
    throw py::value_error("an image of " + std::to_string(Width) + " x " + std::to_string(Height) +
                          " pixels is larger than the bitmap limit");
  auto B = std::make_unique<TBitmap>(Width, Height);
  if (!V.GetImage(B.get())) NoImage();
  return B;
}

// The bitmap's pixels as a (H, W, 4) array that owns the bitmap: no copy.
py::array AsArray(std::unique_ptr<TBitmap> B) {
  const py::ssize_t W = B->Width(), H = B->Height();
  TBitmap* Raw = B.release();
  py::capsule Owner(Raw, [](void* P) { delete static_cast<TBitmap*>(P); });
  return py::array_t<uint8_t>({H, W, py::ssize_t(4)}, {W * 4, py::ssize_t(4), py::ssize_t(1)},
                              Raw->Pixels(), Owner);
}

py::object PickRecord(py::object Obj, py::object Point, int32_t Num) {
  py::object Pick = Module().attr("Pick")(Obj, Point);
  Pick.attr("num") = Num;
  return Pick;
}

void RegisterViewMethods() {
  AddMethod(
      "TLumView", "image", nullptr,
      [](TLumView& V, std::optional<int> W, std::optional<int> H) {
        return AsArray(Frame(V, W, H));
      },
      py::arg("width") = py::none(), py::arg("height") = py::none(),
      "Renders one frame off-screen and returns it as a (height, width, 4) uint8 array of "
      "RGBA rows from the top. An exception raised by on_render comes out of here; the view "
      "stays usable.");
  AddMethod(
      "TLumView", "get_image", "GetImage",
      [](TLumView& V, TBitmap* B) {
        Needed(B, "get_image takes a lumox.Bitmap");
        return V.GetImage(B);
      },
      py::arg("bitmap"),
      "Renders one frame into the bitmap at its size; False on failure (the library's call).");
  AddMethod(
      "TLumView", "save_image", nullptr,
      [](TLumView& V, const std::string& FileName, std::optional<int> W, std::optional<int> H) {
        Frame(V, W, H)->SaveToFile(FileName);
      },
      py::arg("file_name"), py::arg("width") = py::none(), py::arg("height") = py::none(),
      "Renders one frame and writes it as PNG, JPEG or BMP by the name's extension (the old "
      "file stays whole when writing fails).");
  AddMethod(
      "TLumView", "paint", "Paint", [](TLumView& V) { V.Paint(); },
      "Runs one frame in the view's own context.");
  AddMethod(
      "TLumView", "set_bounds", "SetBounds", [](TLumView& V, int W, int H) { V.SetBounds(W, H); },
      py::arg("width"), py::arg("height"), "Sets width and height at once.");
  AddMethod(
      "TLumView", "pick", nullptr,
      [](TLumView& V, int X, int Y) {
        TObject* Obj = nullptr;
        const int32_t Num = V.GetObj(X, Y, Obj);
        TLumMathVector P;
        const bool OnSurface = V.GetPoint(X, Y, P);
        return PickRecord(Wrapped(dynamic_cast<TPersistent*>(Obj)),
                          OnSurface ? py::object(py::make_tuple(P.X, P.Y, P.Z)) : py::none(), Num);
      },
      py::arg("x"), py::arg("y"),
      "The object under window point (x, y) (logical pixels from the top left) and the scene "
      "point there: Pick(object, point), each None when nothing is hit; num holds the number "
      "the object gave its name (a part, a list). The point is the library's GetPoint, with "
      "its rules (see get_point).");
  AddMethod(
      "TLumView", "get_obj", "GetObj",
      [](TLumView& V, int X, int Y) {
        TObject* Obj = nullptr;
        const int32_t Num = V.GetObj(X, Y, Obj);
        return py::make_tuple(Num, Wrapped(dynamic_cast<TPersistent*>(Obj)));
      },
      py::arg("x"), py::arg("y"),
      "(num, object) under (x, y); (-2, None) when nothing is hit. Leaves draw_mode at dmWindow.");
  AddMethod(
      "TLumView", "get_point", "GetPoint",
      [](TLumView& V, int X, int Y) -> py::object {
        TLumMathVector P;
        if (!V.GetPoint(X, Y, P)) return py::none();
        return py::make_tuple(P.X, P.Y, P.Z);
      },
      py::arg("x"), py::arg("y"),
      "The scene point on the nearest surface near (x, y), or None over the background. "
      "Outside a frame it draws through the pick region and unprojects the window y as given "
      "(not flipped), as the library always has.");
  AddMethod(
      "TLumView", "win_to_3d", "WinTo3D",
      [](TLumView& V, int X, int Y, double Z) { return V.WinTo3D(X, Y, Z); }, py::arg("x"),
      py::arg("y"), py::arg("z"), "The scene point at window (x, y) and depth z in 0..1.");
  AddMethod(
      "TLumView", "win_from_3d", "WinFrom3D",
      [](TLumView& V, const TLumMathVector& P) { return V.WinFrom3D(P); }, py::arg("point"),
      "Window x, y (from the top left) and depth of a scene point.");

  // Input, as a toolkit would deliver it; the controller moves and the view repaints.
  AddMethod(
      "TLumView", "key_down", nullptr,
      [](TLumView& V, uint16_t Key, py::handle Shift) {
        V.KeyDown(Key, ShiftFromPython(Shift));
        return Key;
      },
      py::arg("key"), py::arg("shift") = py::tuple(),
      "A key went down (a virtual-key code, VK_LEFT ...): on_key_down, then the controller. "
      "Returns the key as the handlers left it.");
  AddMethod(
      "TLumView", "key_up", nullptr,
      [](TLumView& V, uint16_t Key, py::handle Shift) {
        V.KeyUp(Key, ShiftFromPython(Shift));
        return Key;
      },
      py::arg("key"), py::arg("shift") = py::tuple(), "A key went up.");
  AddMethod(
      "TLumView", "key_press", nullptr,
      [](TLumView& V, const std::u32string& Char) {
        if (Char.size() != 1) throw py::value_error("key_press takes one character");
        char32_t K = Char[0];
        V.KeyPress(K);
        return std::u32string(K ? 1 : 0, K);
      },
      py::arg("char"), "A character was typed; returns it as the handler left it.");
  const struct {
    const char* Name;
    void (TLumView::*Call)(TMouseButton, TShiftState, int, int);
    const char* Doc;
  } Buttons[] = {{"mouse_down", &TLumView::MouseDown, "A mouse button went down at (x, y)."},
                 {"mouse_up", &TLumView::MouseUp, "A mouse button went up at (x, y)."}};
  for (const auto& B : Buttons)
    AddMethod(
        "TLumView", B.Name, nullptr,
        [Call = B.Call](TLumView& V, int X, int Y, py::handle Button, py::handle Shift) {
          (V.*Call)(ButtonFromPython(Button), ShiftFromPython(Shift), X, Y);
        },
        py::arg("x"), py::arg("y"), py::arg("button") = 0, py::arg("shift") = py::tuple(), B.Doc);
  AddMethod(
      "TLumView", "mouse_move", nullptr,
      [](TLumView& V, int X, int Y, py::handle Shift) {
        V.MouseMove(ShiftFromPython(Shift), X, Y);
      },
      py::arg("x"), py::arg("y"), py::arg("shift") = py::tuple(),
      "The mouse moved to (x, y); shift holds the buttons down (ssLeft ...).");
  AddMethod(
      "TLumView", "mouse_wheel", nullptr,
      [](TLumView& V, int Delta, int X, int Y, py::handle Shift) {
        return V.MouseWheel(ShiftFromPython(Shift), Delta, X, Y);
      },
      py::arg("delta"), py::arg("x"), py::arg("y"), py::arg("shift") = py::tuple(),
      "The wheel turned (120 per notch); whether a handler took it.");
  AddMethod(
      "TLumView", "click", "Click", [](TLumView& V) { V.Click(); }, "A click.");
  AddMethod(
      "TLumView", "dbl_click", "DblClick", [](TLumView& V) { V.DblClick(); }, "A double click.");
}

void RegisterApplication(py::module_& M) {
  PyTypeObject* App = MakeExtraClass(
      M, "Application", "TComponent",
      "The application object: Application() is the process's one. Animation timers run from "
      "its idle processing: call process_idle() from a loop (a toolkit's event loop does).");
  RegisterCreator(App, typeid(TApplication),
                  [](TComponent*, bool& Owned, bool& Made) -> TPersistent* {
                    Owned = false;
                    Made = false;
                    return Application();
                  });
  AddMethod(
      "Application", "process_idle", "ProcessIdle", [](TApplication& A) { return A.ProcessIdle(); },
      "One round of idle processing (the timers tick in it); False while something wants "
      "to run again at once, True when the loop may wait.");
  AddProperty("Application", "active", "Active",
              py::cpp_function([](TApplication& A) { return A.Active(); }),
              py::cpp_function([](TApplication& A, bool V) { A.SetActive(V); }),
              "Whether the application is the active one (timers with activeonly tick only then).");
  AddProperty(
      "Application", "on_idle", "OnIdle",
      py::cpp_function([](TApplication& A) { return GetEventAt(typeid(TIdleEvent), &A.OnIdle); }),
      py::cpp_function([](TApplication& A, py::handle F) {
        SetEventAt(typeid(TIdleEvent), &A.OnIdle, &A, F, "Application.OnIdle");
      }),
      "Runs in process_idle: called with the application, returns False to be called again at "
      "once. The first timer made installs its own handler here when none is set.");
}

void RegisterBitmap() {
  AddMethod(
      "TBitmap", "set_size", "SetSize", [](TBitmap& B, int W, int H) { B.SetSize(W, H); },
      py::arg("width"), py::arg("height"), "Resizes; the pixels become transparent black.");
  AddMethod(
      "TBitmap", "load_from_file", "LoadFromFile",
      [](TBitmap& B, const std::string& F) { B.LoadFromFile(F); }, py::arg("file_name"),
      "Reads an image file (PNG, JPEG, BMP, ...).");
  AddMethod(
      "TBitmap", "save_to_file", "SaveToFile",
      [](TBitmap& B, const std::string& F) { B.SaveToFile(F); }, py::arg("file_name"),
      "Writes PNG, JPEG or BMP by the name's extension.");
  AddMethod(
      "TBitmap", "get_pixel", "GetPixel", [](TBitmap& B, int X, int Y) { return B.GetPixel(X, Y); },
      py::arg("x"), py::arg("y"), "A pixel as $00BBGGRR; 0 outside the image.");
  AddMethod(
      "TBitmap", "set_pixel", "SetPixel",
      [](TBitmap& B, int X, int Y, uint32_t C) { B.SetPixel(X, Y, C); }, py::arg("x"), py::arg("y"),
      py::arg("color"), "Sets a pixel to an opaque $00BBGGRR.");
  AddMethod(
      "TBitmap", "fill", "Fill", [](TBitmap& B, uint32_t C) { B.Fill(C); }, py::arg("color"),
      "Fills every pixel with an opaque $00BBGGRR.");
  AddMethod(
      "TBitmap", "to_array", nullptr,
      [](TBitmap& B) {
        py::array_t<uint8_t> A({py::ssize_t(B.Height()), py::ssize_t(B.Width()), py::ssize_t(4)});
        if (!B.Empty())
          std::memcpy(A.mutable_data(), B.Pixels(), size_t(B.Width()) * size_t(B.Height()) * 4);
        return A;
      },
      "A copy of the pixels as a (height, width, 4) uint8 RGBA array.");
  AddMethod(
      "TBitmap", "from_array", nullptr,
      [](TBitmap& B, py::handle Value) {
        py::array Raw = py::array::ensure(Value);
        const char Kind = Raw ? Raw.dtype().kind() : '\0';
        if (Kind != 'f' && Kind != 'i' && Kind != 'u')
          throw py::type_error("from_array takes an array of bytes 0..255 or floats 0..1");
        if (Raw.ndim() != 3 || (Raw.shape(2) != 3 && Raw.shape(2) != 4))
          throw py::value_error("from_array takes a (height, width, 3 or 4) array");
        const py::ssize_t H = Raw.shape(0), W = Raw.shape(1), C = Raw.shape(2);
        if (int64_t(W) * H > TBitmap::MaxImagePixels)
          throw py::value_error("the image is too large");
        // Converted whole before the bitmap changes, so a bad value leaves it as it was.
        std::vector<uint8_t> Pixels(size_t(W) * size_t(H) * 4, 255);
        if (Kind == 'f') {
          auto F = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(Raw);
          const double* Src = F.data();
          for (py::ssize_t I = 0; I < W * H; ++I)
            for (py::ssize_t K = 0; K < C; ++K) Pixels[I * 4 + K] = ChannelByte(Src[I * C + K]);
        } else if (Kind == 'u' && Raw.dtype().itemsize() == 1) {  // bytes, the usual case
          auto U = py::array_t<uint8_t, py::array::c_style | py::array::forcecast>::ensure(Raw);
          const uint8_t* Src = U.data();
          for (py::ssize_t I = 0; I < W * H; ++I)
            for (py::ssize_t K = 0; K < C; ++K) Pixels[I * 4 + K] = Src[I * C + K];
        } else {  // wider integers: checked, not wrapped
          auto N = py::array_t<int64_t, py::array::c_style | py::array::forcecast>::ensure(Raw);
          const int64_t* Src = N.data();
          for (py::ssize_t I = 0; I < W * H; ++I)
            for (py::ssize_t K = 0; K < C; ++K) {
              const int64_t V = Src[I * C + K];
              // uint64 values past int64 come out negative here, and are refused too.
              if (V < 0 || V > 255)
                throw py::value_error("from_array takes bytes 0..255, not " + std::to_string(V));
              Pixels[I * 4 + K] = static_cast<uint8_t>(V);
            }
        }
        B.SetSize(int(W), int(H));
        if (!Pixels.empty()) std::memcpy(B.Pixels(), Pixels.data(), Pixels.size());
        B.Changed();
      },
      py::arg("array"),
      "Takes the size and pixels of a (height, width, 3 or 4) array, RGB(A), rows from the "
      "top: integers 0..255 (others raise ValueError), or floats 0..1 as colours take them "
      "(clamped, NaN as 0).");
}

}  // namespace

void RegisterView(py::module_& M) {
  // A pair that also carries num (a namedtuple's own instances take no attributes).
  py::object Base = py::module_::import("collections").attr("namedtuple")("Pick", "object point");
  py::dict Body;
  Body["__module__"] = "lumox";
  Body["__doc__"] =
      "What View.pick found: the object and the scene point (None when nothing is hit); num, "
      "an attribute, is the number the object gave its name (a part, an index list).";
  M.attr("Pick") = py::module_::import("builtins").attr("type")("Pick", py::make_tuple(Base), Body);
  RegisterViewMethods();
  RegisterApplication(M);
  RegisterBitmap();
  // The virtual-key codes key_down and on_key_down take.
  for (const auto& [Name, Code] : {std::pair{"VK_BACK", VK_BACK},
                                   {"VK_TAB", VK_TAB},
                                   {"VK_RETURN", VK_RETURN},
                                   {"VK_SHIFT", VK_SHIFT},
                                   {"VK_CONTROL", VK_CONTROL},
                                   {"VK_ESCAPE", VK_ESCAPE},
                                   {"VK_SPACE", VK_SPACE},
                                   {"VK_PRIOR", VK_PRIOR},
                                   {"VK_NEXT", VK_NEXT},
                                   {"VK_END", VK_END},
                                   {"VK_HOME", VK_HOME},
                                   {"VK_LEFT", VK_LEFT},
                                   {"VK_UP", VK_UP},
                                   {"VK_RIGHT", VK_RIGHT},
                                   {"VK_DOWN", VK_DOWN},
                                   {"VK_INSERT", VK_INSERT},
                                   {"VK_DELETE", VK_DELETE}})
    M.attr(Name) = Code;
  M.def("egl_platform", &EGLPlatformName,
        "The EGL platform headless views use (surfaceless, device or default), or empty when "
        "none could be opened.");
}

}  // namespace lumoxpy
