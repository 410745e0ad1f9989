// A configuration reader that adds a step in front of another reader (its component).
#pragma once

#include <memory>

#include "CameraConf.h"

namespace orrindale::sdk {

class CameraConfDecorator : public CameraConf {
public:
    explicit CameraConfDecorator(std::shared_ptr<CameraConf> component) : m_component(std::move(component)) {}

    const std::shared_ptr<CameraConf>& component() const { return m_component; }

protected:
    std::shared_ptr<CameraConf> m_component;
};

}  // namespace orrindale::sdk
