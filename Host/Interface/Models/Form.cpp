#include "Models/Form.h"

namespace qs {

FormControl* FormModel::control(std::string_view id) {
    for (FormGroup& group : groups)
        for (FormControl& control : group.controls)
            if (control.id == id) return &control;
    return nullptr;
}

}  // namespace qs
