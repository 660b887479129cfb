import type { Item } from './types';

export interface Listener { (items: Item[]): void }

type Filter = { text: string; onlyInStock: boolean };

export class Store<T extends Item> {
  private items: T[] = [];
  private readonly listeners: Listener[] = [];
  public filter: Filter = { text: '', onlyInStock: false };

  constructor(private readonly endpoint: string) {}

  async load(): Promise<void> {
    const response = await fetch(this.endpoint);
    this.items = (await response.json()) as T[];
    this.notify();
  }

  subscribe(listener: Listener): () => void {
    this.listeners.push(listener);
    return () => this.unsubscribe(listener);
  }

  private unsubscribe(listener: Listener) {
    const at = this.listeners.indexOf(listener);
    if (at >= 0) this.listeners.splice(at, 1);
  }

  visible(): T[] {
    return this.items.filter((item) => matches(item, this.filter));
  }

  private notify() {
    for (const listener of this.listeners) listener(this.visible());
  }
}

export function matches(item: Item, filter: Filter): boolean {
  const text = filter.text.toLowerCase();
  return item.name.toLowerCase().includes(text) && (!filter.onlyInStock || item.stock > 0);
}

export const formatPrice = (cents: number, currency = 'EUR'): string =>
  new Intl.NumberFormat('en', { style: 'currency', currency }).format(cents / 100);
