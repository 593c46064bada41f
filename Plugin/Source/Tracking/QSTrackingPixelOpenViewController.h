// The card that lists the opens of one tracked message: when, on what, in which program, where, with a way to a map.
// Main thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Tracking/QSTrackingPixel.h"

namespace qs {

class Popover;
class View;

class QSTrackingPixelOpenViewController {
public:
    static QSTrackingPixelOpenViewController& sharedController();  // the session's
    QSTrackingPixelOpenViewController();
    ~QSTrackingPixelOpenViewController();

    std::vector<std::shared_ptr<QSTrackingPixelOpen>> opens;  // the table's content
    const std::shared_ptr<Popover>& popover() const { return popover_; }

    // Shows `opens` beside that view.
    void showRelativeTo(const std::shared_ptr<View>& view);
    // The place of an open on a map, in the browser. Beeps where no place is known.
    static void showOnMap(const QSTrackingPixelOpen* open);

private:
    std::shared_ptr<Popover> popover_;
};

}  // namespace qs
