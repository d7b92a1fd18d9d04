// The window commands that run forms: `lumox view app.lumform` and `lumox studio`.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "apps/lumox/lumoxcmd.h"

class QApplication;
class QImage;
class QWidget;

namespace lumoxcmd {

// The options both windows take: the file, the window size, a scripted drag from the
// view's centre, and quitting after a time with a screenshot.
struct TWindowOptions {
  std::string File, Screenshot;
  int Width = 0, Height = 0;  // 0: the form's own size
  std::optional<double> QuitAfter;
  std::optional<std::pair<int, int>> Drag;
};
// Returns 0, or ExitUsage after saying what is wrong.
int ParseWindowArgs(const TArgs& Args, TWindowOptions& O);
// Writes Image as a PNG through a temporary file, so that a failed write leaves no
// half-written image; false (after saying so) when it cannot be written.
bool SavePng(const QImage& Image, const std::string& File);
// Writes Widget's image (its child widgets included) with SavePng.
bool GrabScreenshot(QWidget* Widget, const std::string& File);
// A left-button drag of (DX, DY) from the centre of Target; (0, 0) is a click.
void ScriptDrag(QWidget* Target, std::pair<int, int> Delta);
// The application object of a window command, made once the default surface format is
// set, so that every widget of the process shares display lists.
std::unique_ptr<QApplication> MakeApplication();

// `lumox view app.lumform`: the form's first view in a window (formview.cpp).
int RunFormView(const TArgs& Args);
// `lumox studio [FILE]`: the component and property editor (studio.cpp).
int RunStudio(const TArgs& Args);
int StudioUsage();
// Saves Form as a form file, or (AsForm false) its first node as a LUMGL scene with the
// view's camera among its objects. Throws lumox::Exception when it cannot.
void SaveStudioFile(lumox::TComponent* Form, lumox::TLumView* View, const std::string& File,
                    bool AsForm);

}  // namespace lumoxcmd
