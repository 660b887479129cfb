// Drop-down menu for the site header.
import { debounce } from './util.js';

const OPEN_CLASS = 'open';
const menuButton = document.querySelector('button.menu-toggle');
const panel = document.getElementById('menu-panel');

export class Component {
  constructor(root) {
    this.root = root;
  }
  show() { this.root.hidden = false; }
  hide() { this.root.hidden = true; }
}

export default class Menu extends Component {
  static instances = 0;
  #items = [];

  constructor(root, items) {
    super(root);
    this.#items = items;
    Menu.instances++;
  }

  get count() { return this.#items.length; }

  open() {
    this.show();
    this.root.classList.add(OPEN_CLASS);
    announce(`Menu with ${this.count} items`);
  }

  close = () => {
    this.hide();
    this.root.classList.remove(OPEN_CLASS);
  };

  toggle() {
    if (this.root.classList.contains(OPEN_CLASS)) this.close();
    else this.open();
  }
}

function announce(text) {
  const live = document.getElementById('live');
  live.textContent = text;
}

const onResize = debounce(() => {
  if (window.innerWidth > 800) menu.close();
}, 100);

const menu = new Menu(panel, ['Home', 'Offers', 'Contact']);

menuButton.addEventListener('click', () => menu.toggle());
window.addEventListener('resize', onResize);
document.addEventListener('keydown', function (event) {
  if (event.key === 'Escape') menu.close();
});

export const api = {
  open() { menu.open(); },
  close: () => menu.close(),
  version: '1.4',
};

const pattern = /\/menu\/(\d+)/g, ratio = total / count / 2;
