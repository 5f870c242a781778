// The reflections in reciprocal space, drawn by three.js when something changes.
import {
  AmbientLight, BoxGeometry, BufferAttribute, BufferGeometry, Color, DirectionalLight, DynamicDrawUsage, Group,
  IcosahedronGeometry, InstancedMesh, LineBasicMaterial, LineSegments, Matrix4, MeshLambertMaterial, OctahedronGeometry,
  OrthographicCamera, Points, PointsMaterial, Quaternion, Scene, TetrahedronGeometry, Vector3, WebGLRenderer,
} from "three";
import { TrackballControls } from "three/addons/controls/TrackballControls.js";
import { determinant, kinds, reciprocal } from "./crystal.js";

const shapes = {
  strict: (many) => new IcosahedronGeometry(1, many ? 1 : 2), loose: () => new OctahedronGeometry(1.35),
  none: () => new TetrahedronGeometry(1.35), other: () => new BoxGeometry(1.6, 1.6, 1.6),
};
const spotsize = 0.016; // of the longest vector
const mostpoints = 20000; // of the lattice
const turn = Math.PI / 36;

const colourof = (name) => new Color(getComputedStyle(document.documentElement).getPropertyValue(name).trim());
const vector = (v) => new Vector3(v[0], v[1], v[2]);

// Lines between pairs of points.
function lines(name, opacity) {
  const made = new LineSegments(new BufferGeometry(), new LineBasicMaterial({ transparent: opacity < 1, opacity }));
  made.userData.colour = name;
  return made;
}

function setpoints(object, points) {
  object.geometry.dispose();
  object.geometry = new BufferGeometry();
  object.geometry.setAttribute("position", new BufferAttribute(new Float32Array(points.flat()), 3));
}

// Lattice points within a distance of 1 from the origin; of large cells those nearest to it.
function latticepoints(basis, stars, scale) {
  const density = Math.abs(determinant(basis)) / scale ** 3;
  const radius = Math.min(1.02, Math.cbrt(mostpoints / (density * (4 / 3) * Math.PI)));
  const most = [0, 3, 6].map((i) => Math.floor((Math.hypot(...basis.slice(i, i + 3)) * radius) / scale));
  const points = [];
  for (let h = -most[0]; h <= most[0]; ++h)
    for (let k = -most[1]; k <= most[1]; ++k)
      for (let l = -most[2]; l <= most[2]; ++l) {
        const p = [0, 1, 2].map((i) => scale * (h * stars[0][i] + k * stars[1][i] + l * stars[2][i]));
        if (p[0] * p[0] + p[1] * p[1] + p[2] * p[2] <= radius * radius) points.push(p);
      }
  return points;
}

// The edges of the reciprocal cell but the three at the origin.
function celledges(stars, scale) {
  const corner = (h, k, l) => [0, 1, 2].map((i) => scale * (h * stars[0][i] + k * stars[1][i] + l * stars[2][i]));
  const ends = [[1,0,0, 1,1,0], [1,0,0, 1,0,1], [0,1,0, 1,1,0], [0,1,0, 0,1,1], [0,0,1, 1,0,1], [0,0,1, 0,1,1],
                [1,1,0, 1,1,1], [1,0,1, 1,1,1], [0,1,1, 1,1,1]];
  return ends.flatMap((e) => [corner(...e.slice(0, 3)), corner(...e.slice(3))]);
}

export class Space {
  constructor(chosen) {
    this.tell = chosen;
    this.stage = document.getElementById("stage");
    this.canvas = document.getElementById("canvas");
    this.hint = document.getElementById("hint");
    this.factor = 1;
    this.size = [1, 1];
    this.shown = { strict: true, loose: true, none: true, other: true };
    this.buildscene();
    if (!this.openrenderer()) return;
    this.opencontrols();
    this.listen();
  }

  openrenderer() {
    try {
      this.renderer = new WebGLRenderer({ canvas: this.canvas, antialias: true, alpha: true, preserveDrawingBuffer: true });
      return true;
    } catch {
      const words = document.createElement("p");
      words.textContent = "This browser draws no three dimensions (WebGL is off). All numbers stand in the table below.";
      this.canvas.hidden = true;
      this.stage.append(words);
      return false;
    }
  }

  buildscene() {
    this.scene = new Scene();
    this.camera = new OrthographicCamera(-1, 1, 1, -1, 0.1, 20);
    this.scene.add(this.camera, new AmbientLight(0xffffff, 1.6));
    const light = new DirectionalLight(0xffffff, 1.8);
    light.position.set(-1, 2, 4);
    this.camera.add(light);
    this.axes = ["--axisa", "--axisb", "--axisc"].map((name) => lines(name, 1));
    this.cell = lines("--lattice", 1);
    this.sticks = lines("--soft", 0.8);
    this.ring = lines("--ink", 1);
    this.nodes = new Points(new BufferGeometry(), new PointsMaterial({ size: 2, sizeAttenuation: false }));
    this.nodes.userData.colour = "--lattice";
    this.lattice = new Group();
    this.lattice.add(this.nodes, this.cell, this.sticks);
    this.scene.add(this.lattice, this.ring, ...this.axes);
    this.meshes = {};
  }

  opencontrols() {
    this.controls = new TrackballControls(this.camera, this.canvas);
    Object.assign(this.controls, { staticMoving: true, rotateSpeed: 3, zoomSpeed: 1.2, panSpeed: 0.6, noZoom: true, keys: [] });
    this.controls.addEventListener("change", () => this.render());
    this.controls.addEventListener("start", () => this.follow());
    this.canvas.addEventListener("focus", () => { this.controls.noZoom = false; });
    this.canvas.addEventListener("blur", () => { this.controls.noZoom = true; });
    this.canvas.addEventListener("wheel", () => this.follow(), { passive: true });
    this.canvas.addEventListener("pointerdown", () => this.canvas.focus({ preventScroll: true }));
    this.resetview();
  }

  // The controls act at each frame: asked for while something may move.
  follow() {
    this.until = performance.now() + 400;
    if (this.following) return;
    this.following = true;
    const step = () => {
      this.controls.update();
      this.following = performance.now() < this.until;
      if (this.following) requestAnimationFrame(step);
    };
    requestAnimationFrame(step);
  }

  listen() {
    new ResizeObserver(() => this.fit()).observe(this.stage);
    for (const question of ["(prefers-color-scheme: dark)", "print"])
      matchMedia(question).addEventListener("change", () => this.paint());
    window.addEventListener("beforeprint", () => this.paint());
    window.addEventListener("afterprint", () => this.paint());
    this.canvas.addEventListener("pointermove", (event) => this.hover(event));
    this.canvas.addEventListener("pointerleave", () => { this.hint.hidden = true; });
    this.canvas.addEventListener("pointerdown", (event) => { this.pressed = [event.clientX, event.clientY]; });
    this.canvas.addEventListener("pointerup", (event) => this.clicked(event));
    this.canvas.addEventListener("keydown", (event) => this.typed(event));
    for (const button of document.querySelectorAll("#views button"))
      button.addEventListener("click", () => this.act(button.dataset.view));
  }

  fit() {
    const { clientWidth: width, clientHeight: height } = this.stage;
    if (!width || !height) return;
    this.size = [width, height];
    this.renderer.setPixelRatio(Math.min(window.devicePixelRatio, 2));
    this.renderer.setSize(width, height, false);
    const reach = 1.12;
    const [across, up] = width > height ? [width / height, 1] : [1, height / width];
    Object.assign(this.camera, { left: -reach * across, right: reach * across, top: reach * up, bottom: -reach * up });
    this.camera.updateProjectionMatrix();
    this.controls.handleResize();
    this.paint();
  }

  show(solution, rows) {
    Object.assign(this, { solution, rows, stars: reciprocal(solution.basis) });
    this.scale = 1 / rows.reduce((u, row) => Math.max(u, row.length), 1e-9);
    this.places = rows.map((row) => vector(row.vector).multiplyScalar(this.scale));
    if (!this.renderer) return;
    this.setspots();
    this.setlattice();
    this.render();
  }

  setspots() {
    const matrix = new Matrix4();
    const none = new Quaternion();
    const size = spotsize * this.factor;
    for (const kind of kinds) {
      const places = this.places.filter((_, i) => this.rows[i].kind === kind);
      let mesh = this.meshes[kind];
      if (!mesh) {
        mesh = new InstancedMesh(shapes[kind](this.rows.length > 300), new MeshLambertMaterial(), this.rows.length);
        mesh.instanceMatrix.setUsage(DynamicDrawUsage);
        mesh.frustumCulled = false;
        mesh.userData.colour = `--${kind}`;
        this.meshes[kind] = mesh;
        this.scene.add(mesh);
      }
      places.forEach((place, i) => mesh.setMatrixAt(i, matrix.compose(place, none, new Vector3(size, size, size))));
      mesh.count = places.length;
      mesh.instanceMatrix.needsUpdate = true;
      mesh.visible = this.shown[kind];
    }
  }

  setlattice() {
    this.axes.forEach((axis, i) => setpoints(axis, [[0, 0, 0], this.stars[i].map((x) => x * this.scale)]));
    setpoints(this.cell, celledges(this.stars, this.scale));
    setpoints(this.nodes, latticepoints(this.solution.basis, this.stars, this.scale));
    setpoints(this.sticks, this.rows.flatMap((row, i) => {
      if (row.kind !== "strict" && row.kind !== "loose") return [];
      const node = [0, 1, 2].map((j) => this.scale * row.whole.reduce((sum, h, k) => sum + h * this.stars[k][j], 0));
      return [node, this.places[i].toArray()];
    }));
  }

  // Colours as the style has them now: light, dark or for paper.
  paint() {
    if (!this.renderer || !this.rows) return;
    this.scene.traverse((object) => {
      if (object.userData.colour) object.material.color.copy(colourof(object.userData.colour));
    });
    this.render();
  }

  render() {
    if (!this.rows) return;
    this.renderer.render(this.scene, this.camera);
    ["a", "b", "c"].forEach((name, i) => {
      const [x, y] = this.onstage(vector(this.stars[i]).multiplyScalar(this.scale));
      document.getElementById(`label${name}`).style.transform = `translate(${x + 4}px, ${y - 24}px)`;
    });
  }

  onstage(place) {
    const p = place.clone().project(this.camera);
    return [((p.x + 1) / 2) * this.size[0], ((1 - p.y) / 2) * this.size[1], p.z];
  }

  // Looks along -direction, with `up` upwards.
  lookfrom(direction, up) {
    this.controls.target.set(0, 0, 0);
    this.camera.position.copy(direction).normalize().multiplyScalar(5);
    this.camera.up.copy(up);
    this.camera.lookAt(0, 0, 0);
    this.controls.update();
    this.render();
  }

  resetview() {
    this.camera.zoom = 1;
    this.camera.updateProjectionMatrix();
    this.lookfrom(new Vector3(1.1, 0.7, 1.6), new Vector3(0, 1, 0));
  }

  act(what) {
    const axis = ["a", "b", "c"].indexOf(what);
    if (axis >= 0) this.lookfrom(vector(this.stars[axis]), vector(this.stars[(axis + 2) % 3]));
    else if (what === "start") this.resetview();
    else this.zoomby(what === "nearer" ? 1.2 : 1 / 1.2);
  }

  zoomby(factor) {
    this.camera.zoom = Math.min(50, Math.max(0.3, this.camera.zoom * factor));
    this.camera.updateProjectionMatrix();
    this.render();
  }

  turnby(right, up) {
    const sideways = new Vector3().crossVectors(this.camera.up, this.camera.position).normalize();
    const rotation = new Quaternion().setFromAxisAngle(sideways, -up)
      .multiply(new Quaternion().setFromAxisAngle(this.camera.up.clone().normalize(), -right));
    const target = this.controls.target;
    this.camera.position.sub(target).applyQuaternion(rotation).add(target);
    this.camera.up.applyQuaternion(rotation);
    this.camera.lookAt(target);
    this.controls.update();
    this.render();
  }

  typed(event) {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const acts = {
      ArrowLeft: () => this.turnby(-turn, 0), ArrowRight: () => this.turnby(turn, 0),
      ArrowUp: () => this.turnby(0, turn), ArrowDown: () => this.turnby(0, -turn),
      "+": () => this.act("nearer"), "=": () => this.act("nearer"), "-": () => this.act("farther"),
      a: () => this.act("a"), b: () => this.act("b"), c: () => this.act("c"), 0: () => this.act("start"),
      n: () => this.step(1), p: () => this.step(-1),
    };
    if (!acts[event.key]) return;
    event.preventDefault();
    acts[event.key]();
  }

  step(by) {
    const count = this.rows.length;
    const from = this.chosen ? this.chosen - 1 : by > 0 ? -1 : count;
    for (let i = 1; i <= count; ++i) {
      const row = this.rows[(from + i * by + i * count) % count];
      if (this.shown[row.kind]) return this.tell(row.number);
    }
  }

  // The foremost spot near a place on the stage.
  spotat(x, y) {
    let best = null;
    const near = 10 * Math.max(1, this.factor);
    this.places.forEach((place, i) => {
      if (!this.shown[this.rows[i].kind]) return;
      const [u, v, depth] = this.onstage(place);
      const square = (u - x) ** 2 + (v - y) ** 2;
      if (square > near * near) return;
      const badness = square + 20 * depth;
      if (!best || badness < best.badness) best = { badness, row: this.rows[i] };
    });
    return best?.row;
  }

  hover(event) {
    if (event.buttons) { this.hint.hidden = true; return; }
    const frame = this.canvas.getBoundingClientRect();
    const [x, y] = [event.clientX - frame.left, event.clientY - frame.top];
    const row = this.spotat(x, y);
    this.hint.hidden = !row;
    if (!row) return;
    this.hint.textContent = this.wordsof(row);
    const left = Math.min(x + 12, this.stage.clientWidth - this.hint.offsetWidth - 4);
    this.hint.style.transform = `translate(${Math.max(0, left)}px, ${Math.max(0, y - 34)}px)`;
  }

  clicked(event) {
    if (!this.pressed || Math.hypot(event.clientX - this.pressed[0], event.clientY - this.pressed[1]) > 4) return;
    const frame = this.canvas.getBoundingClientRect();
    const row = this.spotat(event.clientX - frame.left, event.clientY - frame.top);
    if (row) this.tell(row.number);
  }

  wordsof(row) {
    const error = `error ${row.error.toFixed(3)}`;
    if (row.kind === "strict" || row.kind === "loose") return `Nr ${row.number}: h k l ${row.whole.join(" ")}, ${error}`;
    const real = row.real.map((x) => x.toFixed(2)).join(" ");
    const other = row.otherwhole ? `; ${row.otherwhole.join(" ")} by the other solution` : "";
    return `Nr ${row.number}: not indexed, ${real}, ${error}${other}`;
  }

  // Marks a reflection, and tells of it.
  choose(number) {
    this.chosen = number;
    const row = this.rows[number - 1];
    if (this.renderer) {
      const size = 2.4 * spotsize * this.factor;
      const p = this.places[number - 1].toArray();
      setpoints(this.ring, [0, 1, 2].flatMap((i) => [-1, 1].flatMap((sign) =>
        [0.6, 1.6].map((far) => p.map((x, j) => (j === i ? x + sign * far * size : x))))));
      this.render();
    }
    return this.wordsof(row) + ".";
  }

  showkind(kind, wanted) {
    this.shown[kind] = wanted;
    if (!this.renderer) return;
    this.meshes[kind].visible = wanted;
    this.render();
  }

  showlattice(wanted) {
    this.lattice.visible = wanted;
    for (const axis of this.axes) axis.visible = wanted;
    if (this.renderer) this.render();
  }

  resize(factor) {
    this.factor = factor;
    if (!this.renderer) return;
    this.setspots();
    if (this.chosen) this.choose(this.chosen);
    else this.render();
  }
}
