// Finds, makes and changes elements.

export const part = (id) => document.getElementById(id);

export function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  element.append(...children);
  return element;
}

// Makes a button. `name` is read to users who can't see `text`, and shown to those who point at it.
export function makeButton(text, name, act) {
  const button = make("button", { type: "button" }, text);
  button.addEventListener("click", act);
  nameButton(button, name);
  return button;
}

export function nameButton(button, name) {
  setAttribute(button, "aria-label", name);
  setAttribute(button, "title", name);
}

// Sets an attribute if it has another value: to set the same again would cost a style calculation,
// or the decoding of a picture.
export function setAttribute(element, name, value) {
  if (element.getAttribute(name) !== value) element.setAttribute(name, value);
}

export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

const kSvg = "http://www.w3.org/2000/svg";

// Makes `parent` hold the elements that are described as {tag, attributes, children}. An element
// whose tag fits is kept and changed, so that an unchanged picture isn't loaded again.
export function patchSvg(parent, descriptions) {
  descriptions.forEach((description, index) => {
    let element = parent.childNodes[index];
    if (typeof description === "string") {
      if (element?.nodeType !== Node.TEXT_NODE) element = placeAt(parent, index, new Text());
      if (element.data !== description) element.data = description;
      return;
    }
    if (element?.nodeName !== description.tag) {
      element = placeAt(parent, index, document.createElementNS(kSvg, description.tag));
    }
    patchAttributes(element, description.attributes);
    patchSvg(element, description.children);
  });
  while (parent.childNodes.length > descriptions.length) parent.lastChild.remove();
}

function placeAt(parent, index, node) {
  const old = parent.childNodes[index];
  if (old) old.replaceWith(node);
  else parent.append(node);
  return node;
}

function patchAttributes(element, attributes) {
  for (const { name } of [...element.attributes]) {
    if (!(name in attributes)) element.removeAttribute(name);
  }
  for (const [name, value] of Object.entries(attributes)) setAttribute(element, name, `${value}`);
}
