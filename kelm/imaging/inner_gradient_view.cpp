#include "kelm/imaging/inner_gradient_view.h"

namespace kelm {
namespace {

const GradientLayer* gradientOf(const Layer& layer) {
  if (const auto* own = dynamic_cast<const GradientLayer*>(&layer)) return own;
  for (const auto& sublayer : layer.sublayers)
    if (const auto* gradient = dynamic_cast<const GradientLayer*>(sublayer.get())) return gradient;
  return nullptr;
}

}  // namespace

std::shared_ptr<InnerGradientView> InnerGradientView::copyOf(const View& source) {
  const GradientLayer* gradient = gradientOf(*source.layer());
  if (gradient == nullptr) return nullptr;
  auto view = std::make_shared<InnerGradientView>(source.frame());
  view->setOpaque(false);
  view->setBackgroundColour(Colour::clear());
  auto copy = std::make_shared<GradientLayer>();
  copy->backgroundColour = Colour::clear();
  copy->isOpaque = false;
  copy->setFrame(view->bounds());
  copy->colours = gradient->colours;
  copy->locations = gradient->locations;
  copy->startPoint = gradient->startPoint;
  copy->endPoint = gradient->endPoint;
  view->layer()->sublayers.insert(view->layer()->sublayers.begin(), copy);
  return view;
}

std::shared_ptr<InnerGradientView> InnerGradientView::initWithGradientView(
    const std::shared_ptr<const View>& source) {
  return source ? copyOf(*source) : nullptr;
}

std::shared_ptr<InnerGradientView> InnerGradientView::copyWithZone() const { return copyOf(*this); }

}  // namespace kelm
