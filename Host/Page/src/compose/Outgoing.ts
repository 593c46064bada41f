// Edits of one compose window on their way to the host: gathered for a moment and sent as one update. Nothing here draws.
import type { Calls } from '../calls';

export type Edit = Omit<Calls['compose.update'], 'window' | 'bodyHtml' | 'bodyRevision'>;

export interface BodyState {
  bodyHtml: string;
  bodyRevision: number;
}

export class Outgoing {
  private edit: Edit = {};
  private body = false;
  private timer: ReturnType<typeof setTimeout> | undefined;
  private underWay = 0;
  private stopped = false;

  /**
   * `send` resolves when the host has answered, with false when the update never got there. `body` is asked when the update leaves, so that typing does not cost a
   * copy of the whole text for each letter.
   */
  constructor(
    private readonly send: (edit: Edit & Partial<BodyState>) => Promise<boolean>,
    private readonly takeBody: () => BodyState | null,
    private readonly delay = 300,
  ) {}

  stage(edit: Edit): void {
    this.edit = { ...this.edit, ...edit };
    this.schedule();
  }

  stageBody(): void {
    this.body = true;
    this.schedule();
  }

  /** What the host replaced meanwhile must not be sent back to it. */
  dropBody(): void {
    this.body = false;
  }

  /** True while the host may not know yet what the person did, so that its models are behind. */
  isBehind(): boolean {
    return this.hasPending() || this.underWay > 0;
  }

  hasPending(): boolean {
    return this.body || Object.keys(this.edit).length > 0;
  }

  /** Sends at once; calls that follow on the same connection arrive after it. */
  flush(): void {
    clearTimeout(this.timer);
    if (this.stopped || !this.hasPending()) return;
    const body = this.body ? this.takeBody() : null;
    const update = { ...this.edit, ...(body ?? {}) };
    this.edit = {};
    this.body = false;
    ++this.underWay;
    this.send(update)
      .then((arrived) => arrived || this.takeBack(update))
      .finally(() => --this.underWay);
  }

  /** The window is closed: the host wants to hear no more of it. */
  stop(): void {
    clearTimeout(this.timer);
    this.edit = {};
    this.body = false;
    this.stopped = true;
  }

  // Kept for the next flush; what was edited since counts more.
  private takeBack(update: Edit & Partial<BodyState>): void {
    const { bodyHtml, bodyRevision: _, ...edit } = update;
    this.edit = { ...edit, ...this.edit };
    if (bodyHtml !== undefined) this.body = true;
  }

  private schedule(): void {
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.flush(), this.delay);
  }
}
